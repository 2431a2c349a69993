#include "store/app_delegate.h"

#include "exchange/backup.h"
#include "plist/description.h"
#include "plist/keyed_archive.h"
#include "plist/md5.h"
#include "store/document.h"
#include "store/file_ops.h"
#include "store/validation.h"
#include "ui/localize.h"

namespace numbrel {

namespace {

// View state and preferences: the change fingerprint leaves them out.
const std::initializer_list<std::string_view> kNotFingerprinted = {
    "autobackup", "filename", "graph",  "icloud", "meter", "new",  "next",
    "period",     "range",    "review", "root",   "tips",  "tour", "version"};

}  // namespace

std::string MD5StringOfSettings(const Value& document) {
    Md5 md5;
    streamDescription(document, kNotFingerprinted, [&](std::string_view piece) { md5.add(piece); });
    return md5.hex();
}

DocumentDigests documentDigests(const Value& document) {
    DescriptionHash hash;
    Md5 fingerprint;
    streamDescription(
        document, kNotFingerprinted, [&](std::string_view piece) { hash.add(piece); },
        [&](std::string_view piece) { fingerprint.add(piece); });
    return {hash.value(), fingerprint.hex()};
}

NumbrelAppDelegate::NumbrelAppDelegate(Environment env, PreferencesStore& store)
    : env_(std::move(env)),
      calendar_(env_),
      formatter_(env_),
      store_(store),
      settings_(std::make_shared<Value>(newDocument())) {}

NumbrelAppDelegate::~NumbrelAppDelegate() = default;

void NumbrelAppDelegate::applicationDidFinishLaunching() {
    // The currency table is static data; nothing to build.
    loadReport_ = store_.load(env_.now());
    // The document is the whole store when it holds meters at all, else a new one.
    bool hasSettings = store_.holds("settings");
    Value stored = store_.takeDictionary(kPersistedKeys);
    settings_ = std::make_shared<Value>(hasSettings ? std::move(stored) : newDocument());
    if (!loadReport_.problem.empty()) {
        const std::string message =
            loadReport_.movedAside.empty()
                ? fill(tr("Your saved data could not be read (%@). It has been left where it is and will not "
                          "be overwritten."),
                       {loadReport_.problem})
                : fill(tr("Your saved data could not be read (%@). It has been kept as %@ and Numbrel starts "
                          "with new data."),
                       {loadReport_.problem, loadReport_.movedAside});
        Alert warning{0, tr("Warning!"), message, {tr("OK")}};
        warning.warning = true;
        alerts_.push_back(warning);
    }
    Array* meters = metersOf(*settings_);
    if (!meters || meters->empty()) settings_->set("settings", defaultMeters());

    validate(false);

    cancelReminders();
    if (hooks_.openCloudSession) hooks_.openCloudSession();
    if (hooks_.buildMainScreen) hooks_.buildMainScreen();
    store_.registerDefaults(settings_);
}

void NumbrelAppDelegate::setSettings(Value document, std::string fingerprint) {
    // Someone who asked never to be asked for a review is not asked again after a restore.
    const Value* review = settings_->find("review");
    if (review && review->isDate() && review->date() == kDistantFuture && document.isDictionary())
        document.set("review", kDistantFuture);  // not part of the fingerprint
    settings_ = std::make_shared<Value>(std::move(document));
    reshape();
    validate(true, std::move(fingerprint));
    store_.registerDefaults(settings_);
    if (hooks_.buildMainScreen) hooks_.buildMainScreen();
}

void NumbrelAppDelegate::validate(bool replaced, std::string fingerprint) {
    bool changed = true;
    for (Alert& a : validateSettings(*settings_, env_, replaced, &changed))
        alerts_.push_back(std::move(a));
    applyBarStyle();
    md5_ = !changed && !fingerprint.empty() ? std::move(fingerprint) : MD5StringOfSettings();
}

BackupWritten writeBackup(const Value& doc, const std::string& directory, const std::string& name) {
    BackupWritten out;
    // The document is archived with an eight-byte slot for "hash", filled once its digests are known.
    DocumentDigests digests = documentDigests(doc);
    SlottedArchive archive = writeKeyedArchive(doc, "hash");
    archive.fill(static_cast<std::int64_t>(digests.hash + 1u));  // wraps at 2^32
    FileOps& ops = FileOps::real();
    if (ops.makeDirectories(directory) != 0) {
        out.error = "cannot create the folder " + directory;
    } else {
        out.error = writeFileAtomically(ops, directory + "/" + name, archive.bytes);
    }
    out.fingerprint = std::move(digests.fingerprint);
    return out;
}

NumbrelAppDelegate::Backup NumbrelAppDelegate::localBackup(const std::string& directory) {
    Backup out;
    out.name = backupFileName(calendar_, env_.now());
    Value& doc = *settings_;
    doc.set("filename", out.name);
    doc.erase("hash");  // only ever in the file
    BackupWritten written = writeBackup(doc, directory, out.name);
    out.error = std::move(written.error);
    md5_ = std::move(written.fingerprint);
    return out;
}

Job NumbrelAppDelegate::backupJob(const std::string& directory, std::function<void(const Backup&)> done) {
    const std::string name = backupFileName(calendar_, env_.now());
    auto copy = std::make_shared<Value>(*settings_);
    copy->set("filename", name);
    copy->erase("hash");
    Job job;
    job.title = tr("Backing up…");
    job.work = [this, copy, directory, name,
                done = std::move(done)](const Progress&) -> std::function<void()> {
        auto written = std::make_shared<BackupWritten>(writeBackup(*copy, directory, name));
        return [this, name, written, done] {
            Backup b{name, written->error};
            if (!b.error) {
                settings_->set("filename", name);
                md5_ = written->fingerprint;
            }
            done(b);
        };
    };
    return job;
}

void NumbrelAppDelegate::adoptDocument(Value document) {
    settings_ = std::make_shared<Value>(std::move(document));
    reshape();
    store_.registerDefaults(settings_);
}

void NumbrelAppDelegate::applyBarStyle() const {
    if (hooks_.applyBarStyle) hooks_.applyBarStyle(boolOf(*settings_, "black"));
}

Value& NumbrelAppDelegate::meter(int index) {
    return (*metersOf(*settings_))[static_cast<std::size_t>(index)];
}

std::optional<std::string> NumbrelAppDelegate::saveSettings() {
    return store_.write(*settings_, kPersistedKeys);
}

std::optional<std::string> NumbrelAppDelegate::applicationDidEnterBackground() {
    bool cloud = hasDocumentCloud();
    if (cloud && boolOf(*settings_, "icloud") && boolOf(*settings_, "autobackup") &&
        MD5StringOfSettings() != md5_ && hooks_.cloudBackup)
        hooks_.cloudBackup();
    if (cloud && hooks_.cloudDisable) hooks_.cloudDisable();
    std::optional<std::string> error = saveSettings();
    planReminders();
    torchOff();
    md5_.clear();
    return error;
}

void NumbrelAppDelegate::applicationWillEnterForeground() {
    cancelReminders();
    if (hooks_.postNotification) hooks_.postNotification("ReloadSettings");
    if (md5_.empty()) md5_ = MD5StringOfSettings();
    if (hasDocumentCloud() && boolOf(*settings_, "icloud") && hooks_.cloudEnable) hooks_.cloudEnable();
}

void NumbrelAppDelegate::planReminders() {
    if (!notifier_) return;
    std::vector<Reminder> planned = reminderSchedule(*settings_, env_, calendar_);
    // Leaving must not fail because of a reminder: what went wrong is kept for the reminders screen.
    try {
        reminderProblem_ = planned.empty() ? std::string() : notifier_->schedule(planned);
    } catch (const std::exception& e) {
        reminderProblem_ = e.what();
    }
}

void NumbrelAppDelegate::cancelReminders() {
    if (!notifier_) return;
    try {
        reminderProblem_ = notifier_->cancelAll();
    } catch (const std::exception& e) {
        reminderProblem_ = e.what();
    }
}

ValueEdit NumbrelAppDelegate::guarded(ValueEdit edit) {
    const std::uint64_t opened = shape_;
    edit.valid = [this, opened] { return shape_ == opened; };
    edit.apply = [valid = edit.valid, apply = std::move(edit.apply)](const std::string& text,
                                                                     const std::string& period) {
        return valid() && apply(text, period);
    };
    return edit;
}

std::string NumbrelAppDelegate::MD5StringOfSettings() const {
    return numbrel::MD5StringOfSettings(*settings_);
}

std::vector<Alert> NumbrelAppDelegate::takeAlerts() {
    return std::exchange(alerts_, {});
}

}  // namespace numbrel
