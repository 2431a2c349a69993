#include "exchange/cloud_sync.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "store/app_delegate.h"
#include "store/document.h"
#include "store/file_ops.h"
#include "store/text_compare.h"
#include "ui/localize.h"

namespace numbrel {

namespace {

bool exists(const std::string& path) {
    std::error_code ec;
    return std::filesystem::is_regular_file(path, ec);
}

}  // namespace

std::vector<CloudEntry> scanCloudDirectory(const std::string& directory) {
    std::vector<CloudEntry> out;
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator(directory, ec)) {
        std::error_code typeError;
        std::string name = entry.path().filename().string();
        if (name.empty() || name[0] == '.' || !entry.is_regular_file(typeError)) continue;
        const std::uintmax_t size = entry.file_size(typeError);
        if (typeError) continue;  // gone while we looked
        out.push_back({std::move(name), size});
    }
    return out;
}

std::optional<std::string> cloudDocumentsIn(const std::string& folder) {
    std::error_code ec;
    if (folder.empty() || !std::filesystem::is_directory(folder, ec)) return std::nullopt;
    const std::string documents = folder + "/Documents";
    std::filesystem::create_directory(documents, ec);
    if (!std::filesystem::is_directory(documents, ec) || ::access(documents.c_str(), W_OK | X_OK) != 0)
        return std::nullopt;
    return documents;
}

void ScannedCloudFolder::startQuery(const std::string& directory, std::function<void()> gathered) {
    directory_ = directory;
    gathered_ = std::move(gathered);
    querying_ = true;
    paused_ = pending_ = false;
    changed();
}

void ScannedCloudFolder::stopQuery() {
    querying_ = false;
    gathered_ = nullptr;
}

void ScannedCloudFolder::resumeUpdates() {
    paused_ = false;
    if (std::exchange(pending_, false) && gathered_) gathered_();
}

void ScannedCloudFolder::changed() {
    if (!querying_) return;
    results_ = scanCloudDirectory(directory_);
    if (paused_)
        pending_ = true;
    else if (gathered_)
        gathered_();
}

CloudSync::CloudSync(NumbrelAppDelegate& app, Navigator& navigator, CloudFolder& folder,
                     std::string documents)
    : app_(app),
      navigator_(navigator),
      folder_(folder),
      documents_(std::move(documents)),
      alive_(std::make_shared<bool>(true)) {
    app_.setCloudSync(this);
}

CloudSync::~CloudSync() {
    *alive_ = false;
    if (app_.cloudSync() == this) app_.setCloudSync(nullptr);
    if (folder_.querying()) folder_.stopQuery();
}

std::string CloudSync::notYetAvailable() {
    return tr("This file is not yet available. I'm sure it's on its way, so please try again.");
}

void CloudSync::iCloudEnable() {
    // Looked at again on every enabling (each return to the app): a share that went away, or a
    // folder made read-only, is told then rather than failing every copy in silence.
    if (std::optional<std::string> now = folder_.directory(); now != directory_ || !now) {
        if (folder_.querying()) folder_.stopQuery();
        directory_ = std::move(now);
        if (!directory_) {
            navigator_.present(
                Alert{0,
                      tr("Warning!"),
                      tr("No iCloud access. In the settings, turn iCloud off and on to choose the folder "
                         "that your sync client keeps in step, and check that it is there and can be "
                         "written. Or disable iCloud in the settings"),
                      {tr("OK")}});
            return;
        }
    }
    if (!folder_.querying()) {
        lastSizes_.clear();
        folder_.startQuery(*directory_, [this, alive = alive_] {
            if (*alive) iCloudDidFinishGathering();
        });
    }
}

void CloudSync::iCloudDisable() {
    if (folder_.querying()) folder_.stopQuery();
}

std::vector<std::string> CloudSync::iCloudFiles(bool resume) {
    folder_.pauseUpdates();
    std::vector<std::string> names;
    for (const CloudEntry& e : folder_.results())
        names.push_back(e.name);
    names = listBackups(std::move(names), {});
    if (resume) folder_.resumeUpdates();
    return names;
}

void CloudSync::run(Job job) {
    ++pending_;
    auto work = std::move(job.work);
    job.work = [work = std::move(work), alive = alive_, this](const Progress& p) -> std::function<void()> {
        std::function<void()> then = work(p);
        return [then = std::move(then), alive, this] {
            if (!*alive) return;
            --pending_;
            if (then) then();
        };
    };
    navigator_.runForApp(std::move(job));
}

CloudSync::Listener CloudSync::listen(std::function<void()> changed) {
    auto listener = std::make_shared<std::function<void()>>(std::move(changed));
    std::erase_if(listeners_, [](const auto& l) { return l.expired(); });
    listeners_.push_back(listener);
    return listener;
}

void CloudSync::listChanged() {
    // A copy of the list: a listener may add or drop listeners.
    const std::vector<std::weak_ptr<std::function<void()>>> now = listeners_;
    for (const auto& weak : now)
        if (Listener l = weak.lock()) (*l)();
    if (listedHook_) listedHook_();
}

void CloudSync::iCloudDidFinishGathering() {
    report_ = {};
    const std::vector<CloudEntry> entries = folder_.results();
    std::map<std::string, std::uint64_t> sizes;
    for (const CloudEntry& e : entries)
        sizes[e.name] = e.size;
    const std::map<std::string, std::uint64_t> previous = std::exchange(lastSizes_, sizes);

    std::vector<std::string> cloud = iCloudFiles(false);
    std::erase_if(cloud, [](const std::string& name) { return !isBackupName(name); });

    bool started = false;
    if (!cloud.empty()) {
        const std::string& newest = cloud.front();
        Value& doc = app_.settings();
        const std::string current(stringOf(doc, "filename"));
        if (current.empty()) {
            doc.set("filename", newest);
            report_.adopted = newest;
            changed();
        } else if (caseInsensitiveCompare(newest, current) > 0) {
            auto seen = previous.find(newest);
            if (exists(documents_ + "/" + newest)) {
                iCloudRestore(newest);
                started = true;
            } else if (seen == previous.end() || seen->second != sizes[newest]) {
                // Still arriving, or seen for the first time: looked at again a moment from now.
                report_.waiting = newest;
                folder_.rescanSoon();
            } else {
                download(newest);
                started = true;
            }
        }
    }
    if (boolOf(app_.settings(), "autobackup")) prune(cloud);
    if (!started) folder_.resumeUpdates();
    listChanged();
}

void CloudSync::download(const std::string& name) {
    report_.downloaded = name;
    Job job;
    job.title = tr("Copying…");
    job.work = [this, name, from = *directory_ + "/" + name, to = documents_,
                version = integerOf(app_.settings(), "version")](const Progress&) -> std::function<void()> {
        // Checked in the hidden copy first: a file the sync client has not finished writing never
        // arrives under a backup name, and is not offered.
        std::error_code ec;
        std::filesystem::create_directories(to, ec);
        auto check = std::make_shared<RestoreCheck>();
        const bool whole = !copyThroughTemporary(from, to, name, [&](const std::string& temp) {
            *check = checkBackupFile(temp, version);
            return check->archiveRead;
        });
        return [this, name, check, whole] {
            if (!whole) {
                // The next change of the folder tries again.
                report_.waiting = name;
                report_.downloaded.clear();
                folder_.resumeUpdates();
                return;
            }
            app_.settings().set("filename", name);
            changed();
            offer(name, std::move(*check));
        };
    };
    run(std::move(job));
}

void CloudSync::iCloudRestore(const std::string& name) {
    // Never offered twice, whatever the answer or the file.
    app_.settings().set("filename", name);
    changed();
    Job job;
    job.title = tr("Restoring…");
    job.work = [this, name, path = documents_ + "/" + name,
                version = integerOf(app_.settings(), "version")](const Progress&) -> std::function<void()> {
        auto check = std::make_shared<RestoreCheck>(checkBackupFile(path, version));
        return [this, name, check] { offer(name, std::move(*check)); };
    };
    run(std::move(job));
}

void CloudSync::offer(const std::string& name, RestoreCheck check) {
    // A backup from a newer version, or one that does not check, is passed over without a word.
    if (check.outcome != RestoreOutcome::Restored && check.outcome != RestoreOutcome::OldBackup) {
        folder_.resumeUpdates();
        return;
    }
    if (!check.document.contains("filename")) check.document.set("filename", name);
    report_.offered = name;
    auto held = std::make_shared<RestoreCheck>(std::move(check));
    navigator_.present(Alert{kOfferTag,
                             tr("iCloud Sync"),
                             fill(tr("Restore the latest backup file? (%@)"), {name}),
                             {tr("Cancel"), tr("OK")}},
                       [this, held, alive = alive_](int button) {
                           if (!*alive) return;
                           if (button == 1) {
                               if (restoringHook_) restoringHook_();
                               app_.setSettings(std::move(held->document), std::move(held->fingerprint));
                               if (restoredHook_) restoredHook_();
                               // A backup made with sync off turns it off here too.
                               if (!boolOf(app_.settings(), "icloud")) iCloudDisable();
                               changed();
                               Alert done{0, tr("Backup Restored"), "", {tr("OK")}};
                               done.dismissAfterSeconds = 1.5;
                               navigator_.present(done, [](int) {});
                           }
                           folder_.resumeUpdates();
                       });
}

void CloudSync::prune(const std::vector<std::string>& cloud) {
    std::vector<std::string> local = filesIn(documents_);
    std::erase_if(local, [](const std::string& name) { return !isBackupName(name); });
    const Retention r = retention(cloud, local);
    report_.prunedFromCloud = r.deleteFromCloud;
    report_.prunedLocally = r.deleteLocally;
    for (const std::string& name : r.deleteFromCloud)
        deleteFromCloud(name, {});
    std::error_code ec;
    for (const std::string& name : r.deleteLocally)
        std::filesystem::remove(documents_ + "/" + name, ec);
}

void CloudSync::iCloudBackup(std::function<void(const std::string&, std::optional<std::string>)> done) {
    if (!directory_) {
        if (done) done({}, tr("No cloud folder"));
        return;
    }
    run(app_.backupJob(documents_, [this, done = std::move(done)](const NumbrelAppDelegate::Backup& made) {
        changed();
        if (made.error) {
            if (done) done(made.name, made.error);
            return;
        }
        copyToCloud(made.name, [name = made.name, done](std::optional<std::string> error) {
            if (done) done(name, std::move(error));
        });
    }));
}

void CloudSync::copyToCloud(const std::string& name, Done done) {
    if (!directory_) return done ? done(tr("No cloud folder")) : void();
    Job job;
    job.title = tr("Copying…");
    job.work = [this, from = documents_ + "/" + name, to = *directory_, name,
                done = std::move(done)](const Progress&) -> std::function<void()> {
        auto error = std::make_shared<std::optional<std::string>>(copyThroughTemporary(from, to, name));
        return [error, done] {
            if (done) done(*error);
        };
    };
    run(std::move(job));
}

void CloudSync::copyFromCloud(const std::string& name, Done done) {
    if (!directory_) return done ? done(notYetAvailable()) : void();
    Job job;
    job.title = tr("Copying…");
    job.work = [from = *directory_ + "/" + name, to = documents_, name,
                done = std::move(done)](const Progress&) -> std::function<void()> {
        std::optional<std::string> error;
        if (!exists(from) || copyThroughTemporary(from, to, name)) error = notYetAvailable();
        return [error, done] {
            if (done) done(error);
        };
    };
    run(std::move(job));
}

void CloudSync::deleteFromCloud(const std::string& name, Done done) {
    if (!directory_) return done ? done(tr("No cloud folder")) : void();
    Job job;
    job.title = tr("Deleting…");
    job.work = [path = *directory_ + "/" + name,
                done = std::move(done)](const Progress&) -> std::function<void()> {
        std::optional<std::string> error;
        if (::unlink(path.c_str()) != 0 && errno != ENOENT)
            error = std::string("cannot delete: ") + std::strerror(errno);
        return [error, done] {
            if (done) done(error);
        };
    };
    run(std::move(job));
}

}  // namespace numbrel
