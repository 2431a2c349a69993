#include "exchange/backup_view_controller.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <variant>

#include "costs/formatter.h"
#include "exchange/backup.h"
#include "store/app_delegate.h"
#include "store/document.h"
#include "store/file_ops.h"
#include "store/text_compare.h"
#include "ui/localize.h"

namespace numbrel {

namespace {

// What the screen's rows stand for.
enum Action { kNone, kAddFile, kWifi, kBackupNow, kFile };

// A document with the meters' names only: all that verification needs to know of the document, cheap
// to copy for a job.
Value meterNames(const Value& document) {
    Array meters;
    if (const Array* list = metersOf(document))
        for (const Value& m : *list)
            meters.push_back(Value::makeDictionary({{"name", std::string(stringOf(m, "name"))}}));
    return Value::makeDictionary({{"settings", Value(std::move(meters))}});
}

}  // namespace

BackupViewController::BackupViewController(NumbrelAppDelegate& app, Navigator& navigator,
                                           std::string directory)
    : app_(app), navigator_(navigator), directory_(std::move(directory)) {
    removeStaleTemporaries(directory_);  // backups cut short by a killed process are not files to offer
    // The cloud's list changes as the sync client brings or takes files.
    if (CloudSync* cloud = app_.cloudSync()) cloudListener_ = cloud->listen([this] { chooseStore(false); });
    chooseStore(false);  // Dropbox is read once the screen is shown
}

BackupViewController::~BackupViewController() {
    if (server_) server_->stop();
}

void BackupViewController::refresh() {
    shown_ = true;
    chooseStore(true);
}

void BackupViewController::chooseStore(bool sync) {
    // The document cloud while sync is on (once its folder is known), with Dropbox beside it when an
    // account is linked and the internet can be reached; else Dropbox on those terms; else none.
    CloudSync* cloud = app_.cloudSync();
    const DropboxSession* box = app_.dropbox();
    const bool dropbox = box && box->linked() && navigator_.reachability().internetReachable();
    const int before = selectedSegmentIndex_;
    bothStores_ = false;
    if (app_.hasDocumentCloud() && boolOf(app_.settings(), "icloud")) {
        if (cloud && cloud->directory()) {
            bothStores_ = dropbox;
            selectedSegmentIndex_ = bothStores_ ? chosenStore_ : 0;
        } else {
            selectedSegmentIndex_ = -1;
        }
    } else {
        selectedSegmentIndex_ = dropbox ? 1 : -1;
    }
    if (selectedSegmentIndex_ == 0)
        remoteBackups_ = cloud->iCloudFiles(true);
    else if (selectedSegmentIndex_ != before)
        remoteBackups_.clear();  // Dropbox's list is read below
    relist();
    if (selectedSegmentIndex_ == 1 && shown_ && !busy() && (sync || before != 1)) syncDropbox();
}

std::vector<std::string> BackupViewController::titleSegments() const {
    if (!bothStores_) return {};
    return {tr("iCloud"), tr("Dropbox")};
}

void BackupViewController::chooseSegment(int tag, int index) {
    if (tag != kTitleSegmentsTag || !bothStores_ || (index != 0 && index != 1) ||
        index == selectedSegmentIndex_ || busy())
        return;
    chosenStore_ = index;
    refresh();
}

void BackupViewController::relist() {
    std::vector<std::string> local = filesIn(directory_);
    onDevice_ = std::set<std::string>(local.begin(), local.end());
    backups_ = listBackups(std::move(local), remoteBackups_);
}

bool BackupViewController::onDevice(const std::string& name) const {
    return onDevice_.contains(name);
}

bool BackupViewController::onRemote(const std::string& name) const {
    return std::find(remoteBackups_.begin(), remoteBackups_.end(), name) != remoteBackups_.end();
}

std::string BackupViewController::remoteTitle() const {
    return selectedSegmentIndex_ == 0   ? tr("iCloud")
           : selectedSegmentIndex_ == 1 ? tr("Dropbox")
                                        : tr("Backups");
}

bool BackupViewController::online() {
    if (navigator_.reachability().internetReachable()) return true;
    navigator_.present(noInternetAlert());
    return false;
}

void BackupViewController::startAction(std::string title) {
    busyTitle_ = std::move(title);
}

void BackupViewController::stopAction() {
    busyTitle_.clear();
    relist();
}

CloudSync::Done BackupViewController::whenDone(
    std::function<void(const std::optional<std::string>& error)> then) {
    auto outcome = std::make_shared<std::optional<std::string>>();
    std::function<void()> resume = navigator_.guard([outcome, then = std::move(then)] { then(*outcome); });
    return [outcome, resume = std::move(resume)](std::optional<std::string> error) {
        *outcome = std::move(error);
        resume();
    };
}

void BackupViewController::addFile(const std::string& path) {
    std::optional<std::string> error = copyIntoFolder(path, directory_);
    chooseStore(false);
    if (error) warn(fill(tr("The file could not be added: %@"), {*error}));
}

std::string BackupViewController::title() const {
    return busyTitle_.empty() ? remoteTitle() : busyTitle_;
}

std::vector<Section> BackupViewController::sections() const {
    Section channels;
    if (navigator_.canChooseFiles()) {
        Row add{tr("Add File…"), "", Accessory::Disclosure};
        add.action = kAddFile;
        channels.rows.push_back(add);
    }
    Row wifi{tr("Import / Export by WiFi"), "", Accessory::Disclosure};
    wifi.action = kWifi;
    channels.rows.push_back(wifi);
    Row now{tr("Backup Now")};
    now.action = kBackupNow;
    Section backup{"", backups_.empty() ? tr("Import a backup file or Backup Now") : "", {now}};
    Section files{"", backups_.empty() ? "" : tr("Select a file or swipe to delete"), {}};
    for (std::size_t i = 0; i < backups_.size(); ++i) {
        Row r{backups_[i]};
        // Only on the remote store: grey until it is copied down.
        if (!onDevice(backups_[i])) r.color = RowColor{0.56, 0.56, 0.58};
        r.deletable = editing_;
        r.swipeDeletes = true;
        r.action = kFile;
        r.index = static_cast<int>(i);
        files.rows.push_back(r);
    }
    return {channels, backup, files};
}

void BackupViewController::wifiAction() {
    const std::string address = navigator_.reachability().localIPAddress();
    if (!navigator_.reachability().localNetworkReachable() || address == "(error)") {
        warn(tr("No wireless connectivity"));
        return;
    }
    std::unique_ptr<TransferServer> server = navigator_.makeTransferServer();
    if (!server) {
        warn(tr("No wireless connectivity"));
        return;
    }
    // A file that arrives is listed at once.
    std::variant<int, std::string> started = server->start(directory_, [this] { chooseStore(false); });
    if (const std::string* problem = std::get_if<std::string>(&started)) {
        warn(fill(tr("The transfer pages could not be started: %@"), {*problem}));
        return;
    }
    server_ = std::move(server);
    navigator_.present(
        Alert{kWifiTag,
              tr("Import / Export by WiFi"),
              fill(tr("Launch a browser from a computer on the same wireless network then navigate "
                      "to the address\n\nhttp://%@:%d\n\nKeep this alert box open until you have "
                      "finished copying files, then select Stop below"),
                   {address, std::to_string(std::get<int>(started))}),
              {tr("Stop")}});
}

void BackupViewController::select(const Row& row) {
    switch (row.action) {
        case kWifi:
            wifiAction();
            break;
        case kAddFile:
            navigator_.chooseFiles({}, [this](const std::vector<std::string>& paths) {
                for (const std::string& path : paths)
                    addFile(path);
            });
            return;
        case kBackupNow:
            backupAction();
            return;
        case kFile:
            openFileMenu(row.label);
            return;
        default:
            return;
    }
}

void BackupViewController::openFileMenu(const std::string& name) {
    // The file menu, by what the file is: a ".bak" restores, a ".csv" imports, anything else offers both.
    menuFile_ = name;
    menu_.clear();
    const bool local = onDevice(name);
    if (local) {
        if (selectedSegmentIndex_ == 0 && !onRemote(name))
            menu_.push_back({tr("Copy to iCloud"), FileAction::CopyToRemote});
        if (selectedSegmentIndex_ == 1 && !onRemote(name))
            menu_.push_back({tr("Copy to Dropbox"), FileAction::CopyToRemote});
        if (navigator_.canSendMail()) menu_.push_back({tr("Export by Email"), FileAction::Mail});
    }
    std::string ext = asciiLower(std::filesystem::path(menuFile_).extension().string());
    if (ext == ".bak") {
        menu_.push_back({tr("Restore Backup"), FileAction::Restore});
    } else if (ext == ".csv") {
        menu_.push_back({tr("Import CSV File"), FileAction::ImportCsv});
        // An export written by the app (its header line tells) has an entry of its own; a file only in
        // Dropbox cannot be looked into before it is fetched.
        std::string error;
        const CloudSync* cloud = app_.cloudSync();
        const std::string readable = local || !cloud || !cloud->directory()
                                         ? pathOf(menuFile_)
                                         : *cloud->directory() + "/" + menuFile_;
        std::optional<std::string> start;
        if (local || selectedSegmentIndex_ == 0) start = readWholeFile(readable, error, 64 * 1024);
        if (start && exportLayout(*start))
            menu_.push_back({tr("Import Numbrel Export"), FileAction::ImportExport});
    } else {
        menu_.push_back({tr("Import CSV File"), FileAction::ImportCsv});
        menu_.push_back({tr("Restore Backup"), FileAction::Restore});
    }
    menu_.push_back({tr("Cancel"), FileAction::Cancel});
    std::vector<std::string> buttons;
    for (const auto& entry : menu_)
        buttons.push_back(entry.first);
    Alert sheet{kFileMenuTag, menuFile_, "", buttons};
    sheet.actionSheet = true;
    navigator_.present(sheet);
}

void BackupViewController::backupAction() {
    if (selectedSegmentIndex_ == 1 && app_.dropbox()) {
        // A backup here, then its copy in the Dropbox folder once the folder is known.
        if (!online()) return;
        startAction(tr("Copying"));
        navigator_.run(app_.backupJob(directory_, [this](const NumbrelAppDelegate::Backup& b) {
            if (b.error) {
                stopAction();
                return warn(*b.error);
            }
            if (restPrefix_ != "/") return uploadToDropbox(b.name);
            fileToUpload_ = b.name;
            syncDropbox();
        }));
        return;
    }
    if (selectedSegmentIndex_ == 0 && app_.cloudSync()) {
        // The same copy into the cloud as the automatic backup makes.
        startAction(tr("Copying"));
        auto made = std::make_shared<std::string>();
        CloudSync::Done done = whenDone([this, made](const std::optional<std::string>& error) {
            if (!error && !onRemote(*made)) remoteBackups_.push_back(*made);
            stopAction();
            if (error) warn(*error);
        });
        app_.cloudSync()->iCloudBackup(
            [made, done](const std::string& name, std::optional<std::string> error) {
                *made = name;
                done(std::move(error));
            });
        return;
    }
    navigator_.run(app_.backupJob(directory_, [this](const NumbrelAppDelegate::Backup& b) {
        chooseStore(false);
        if (b.error) warn(*b.error);
    }));
}

void BackupViewController::copyToRemote(const std::string& name) {
    if (selectedSegmentIndex_ == 1) {
        if (online()) uploadToDropbox(name);
        return;
    }
    CloudSync* cloud = app_.cloudSync();
    if (!cloud) return;
    startAction(tr("Copying"));
    cloud->copyToCloud(name, whenDone([this, name](const std::optional<std::string>& error) {
                           // The folder's watcher lists the copy too once it has looked.
                           if (!error && !onRemote(name)) remoteBackups_.push_back(name);
                           stopAction();
                           if (error) warn(*error);
                       }));
}

void BackupViewController::deleteRemote(const std::string& name) {
    if (selectedSegmentIndex_ == 1) {
        if (online()) deleteFromDropbox(name);
        return chooseStore(false);
    }
    CloudSync* cloud = app_.cloudSync();
    if (!cloud) return;
    startAction(tr("Deleting"));
    cloud->deleteFromCloud(name, whenDone([this, name](const std::optional<std::string>& error) {
                               if (!error) std::erase(remoteBackups_, name);
                               stopAction();
                               if (error) warn(*error);
                           }));
}

void BackupViewController::syncDropbox() {
    DropboxSession* box = app_.dropbox();
    if (!box) return;
    startAction(tr("Syncing"));
    Job job;
    job.title = tr("Syncing");
    job.cancellable = true;
    job.work = [this, box, prefix = restPrefix_](const Progress& progress) -> std::function<void()> {
        auto read = std::make_shared<std::variant<DropboxFolder, DropboxFailure>>(
            readDropboxFolder(*box, prefix, progress));
        return [this, read] {
            if (auto* failed = std::get_if<DropboxFailure>(read.get())) {
                dropboxFailed(*failed, tr("Access to Dropbox failed"));
                return;
            }
            DropboxFolder& folder = std::get<DropboxFolder>(*read);
            restPrefix_ = folder.prefix;
            if (selectedSegmentIndex_ == 1) remoteBackups_ = dropboxBackups(folder.entries, folder.prefix);
            if (fileToUpload_) return uploadToDropbox(*std::exchange(fileToUpload_, std::nullopt));
            stopAction();
        };
    };
    navigator_.run(std::move(job));
}

void BackupViewController::dropboxCall(const std::string& title, DropboxCall call, const std::string& failure,
                                       std::function<void()> done) {
    DropboxSession* box = app_.dropbox();
    if (!box) return stopAction();
    startAction(title);
    Job job;
    job.title = title;
    job.cancellable = true;
    job.work = [this, box, call = std::move(call), failure,
                done = std::move(done)](const Progress& progress) -> std::function<void()> {
        auto failed = std::make_shared<std::optional<DropboxFailure>>(call(*box, progress));
        return [this, failed, failure, done] {
            if (!dropboxFailed(*failed, failure)) done();
        };
    };
    navigator_.run(std::move(job));
}

void BackupViewController::uploadToDropbox(const std::string& name) {
    dropboxCall(
        tr("Copying"),
        [local = pathOf(name), remote = restPrefix_ + name](DropboxSession& box, const Progress& progress) {
            return box.upload(local, remote, progress);
        },
        tr("Copy to Dropbox failed"),
        [this, name] {
            if (!onRemote(name)) remoteBackups_.push_back(name);
            stopAction();
        });
}

void BackupViewController::deleteFromDropbox(const std::string& name) {
    dropboxCall(
        tr("Deleting"),
        [remote = restPrefix_ + name](DropboxSession& box, const Progress&) { return box.remove(remote); },
        tr("Delete from Dropbox failed"),
        [this, name] {
            std::erase(remoteBackups_, name);
            stopAction();
        });
}

bool BackupViewController::dropboxFailed(const std::optional<DropboxFailure>& failure,
                                         const std::string& message) {
    if (!failure) return false;
    fileToUpload_.reset();
    stopAction();
    if (failure->cancelled) return true;
    if (!failure->unlinked) {
        warn(message);
        return true;
    }
    // The account's link has ended: the screen shows the store it can still reach.
    chooseStore(false);
    warn(fill(tr("%@\n\nThe link to your Dropbox account has ended. To link it again, turn Dropbox on in the "
                 "settings."),
              {message}));
    return true;
}

void BackupViewController::warn(const std::string& message) {
    navigator_.present(Alert{kWarningTag, tr("Warning!"), message, {tr("OK")}});
}

void BackupViewController::changed() {
    app_.reshape();  // readings were imported, or the document replaced
    if (changedHook_) changedHook_();
}

void BackupViewController::restoreBackup(const std::string& path) {
    lastRestore_.reset();
    Job job;
    job.title = tr("Restoring…");
    job.work = [this, path,
                version = integerOf(app_.settings(), "version")](const Progress&) -> std::function<void()> {
        auto check = std::make_shared<RestoreCheck>(checkBackupFile(path, version));
        return [this, check] { restoreChecked(std::move(*check)); };
    };
    navigator_.run(std::move(job));
}

void BackupViewController::restoreChecked(RestoreCheck check) {
    lastRestore_ = check.outcome;
    switch (check.outcome) {
        case RestoreOutcome::Restored: {
            app_.setSettings(std::move(check.document), std::move(check.fingerprint));
            changed();
            navigator_.pop();
            Alert done{kRestoreTag, tr("Backup Restored"), "", {tr("OK")}};
            done.dismissAfterSeconds = 1.5;
            navigator_.present(done);
            return;
        }
        case RestoreOutcome::TooNew:
            navigator_.present(
                Alert{kRestoreTag,
                      tr("Backup Too New"),
                      tr("This backup was made by a newer version of Numbrel. Please update the version "
                         "on this device to the latest before installing"),
                      {tr("OK")}});
            return;
        case RestoreOutcome::OldBackup:
            heldBackup_ = std::move(check);
            navigator_.present(
                Alert{kRestoreTag,
                      tr("Old Backup?"),
                      tr("This backup was probably not made on this device or OS version. To continue "
                         "anyway, select Install"),
                      {tr("Cancel"), tr("Install")}});
            return;
        case RestoreOutcome::Corrupt:
            navigator_.present(Alert{
                kRestoreTag,
                tr("Backup Corrupt"),
                tr("This backup was not made using this application, or it has been changed in some way"),
                {tr("Cancel")}});
            return;
        case RestoreOutcome::Unreadable:
            warn(check.reason);
            return;
    }
}

void BackupViewController::importCSV(const std::string& path) {
    verifyFile(path, false);
}

void BackupViewController::importExport(const std::string& path) {
    verifyFile(path, true);
}

void BackupViewController::verifyFile(const std::string& path, bool fromExport) {
    heldRows_.clear();
    Job job;
    job.title = tr("Checking the file…");
    job.cancellable = true;
    job.work = [this, path, fromExport, names = meterNames(app_.settings()), env = app_.environment(),
                separator =
                    app_.formatter().decimalSeparator()](const Progress& progress) -> std::function<void()> {
        auto v = std::make_shared<CsvVerification>();
        std::string bytes;
        if (std::optional<std::string> problem =
                readLimited(path, kMaxCsvFileBytes, tr("This file is larger than 200 MB"), bytes)) {
            return [this, problem] { warn(*problem); };
        }
        if (fromExport) {
            Formatter formatter(env);
            *v = verifyExport(bytes, names, env, formatter);
        } else {
            *v = verifyCsv(bytes, names, env, separator, progress);
        }
        return [this, v, fromExport] {
            const Alert verdict = v->alert(kImportTag);
            heldRows_ = std::move(v->rows);
            heldExport_ = fromExport;
            navigator_.present(verdict);
        };
    };
    navigator_.run(std::move(job));
}

// The verified rows merged into a copy of the document as a job; the copy replaces the document.
void BackupViewController::importHeld() {
    auto rows = std::make_shared<std::vector<ImportRow>>(std::move(heldRows_));
    heldRows_.clear();
    Job job;
    job.title = tr("Importing…");
    job.work = [this, rows, copy = std::make_shared<Value>(app_.settings()), fromExport = heldExport_,
                env = app_.environment()](const Progress&) -> std::function<void()> {
        if (fromExport) {
            Formatter formatter(env);
            mergeExport(*copy, *rows, formatter);
        } else {
            mergeRows(*copy, *rows);
        }
        return [this, copy] {
            app_.adoptDocument(std::move(*copy));
            changed();
            navigator_.present(Alert{kWarningTag, tr("Readings Imported"), "", {tr("OK")}});
        };
    };
    navigator_.run(std::move(job));
}

void BackupViewController::answerAlert(int tag, int button) {
    // Closing any alert of the screen ends the transfer pages, and what they received is listed.
    if (server_) {
        server_->stop();
        server_.reset();
        chooseStore(false);
    }
    if (tag == kFileMenuTag) {
        if (button < 0 || button >= static_cast<int>(menu_.size())) return;
        const FileAction choice = menu_[static_cast<std::size_t>(button)].second;
        if (choice == FileAction::Cancel) return;
        if (choice == FileAction::CopyToRemote) return copyToRemote(menuFile_);
        if (onDevice(menuFile_)) return openLocal(menuFile_, choice);
        return fetchThenOpen(menuFile_, choice);
    }
    if (tag == kDeleteTag) {
        const std::string name = std::exchange(deleteFile_, {});
        if (button <= 0 || name.empty()) return;  // Cancel
        const bool local = onDevice(name);
        if (local) {
            std::error_code ec;
            std::filesystem::remove(pathOf(name), ec);
            if (ec) {
                chooseStore(false);
                return warn(tr("The file could not be deleted"));
            }
        }
        // "Local Device Only" (the second of three buttons) keeps the cloud's copy; "All Devices",
        // and "OK" for a file only in the cloud, delete it there.
        if (local && button == 1) return chooseStore(false);
        deleteRemote(name);
        return;
    }
    if (tag == kRestoreTag && heldBackup_) {
        // "Old Backup?": Install replaces the document without a further word; Cancel drops it.
        if (button == 1) {
            app_.setSettings(std::move(heldBackup_->document), std::move(heldBackup_->fingerprint));
            lastRestore_ = RestoreOutcome::Restored;
            changed();
            navigator_.pop();
        }
        heldBackup_.reset();
        return;
    }
    if (tag == kImportTag) {
        // Only the confirming button of "CSV File Verified" imports; every other answer drops the rows.
        if (button == 1 && !heldRows_.empty()) {
            importHeld();
        } else {
            heldRows_.clear();
        }
    }
}

void BackupViewController::fetchThenOpen(const std::string& name, FileAction action) {
    if (selectedSegmentIndex_ == 1) {
        if (!online()) return;
        dropboxCall(
            tr("Copying"),
            [remote = restPrefix_ + name, folder = directory_, name](DropboxSession& box,
                                                                     const Progress& progress) {
                return box.download(remote, folder, name, progress);
            },
            tr("Copy from Dropbox failed"),
            [this, name, action] {
                stopAction();
                openLocal(name, action);
            });
        return;
    }
    if (!app_.cloudSync()) return;
    // Only in the cloud: copied down first, then restored or imported.
    startAction(tr("Copying"));
    app_.cloudSync()->copyFromCloud(name,
                                    whenDone([this, name, action](const std::optional<std::string>& error) {
                                        stopAction();
                                        if (error) return warn(*error);
                                        openLocal(name, action);
                                    }));
}

void BackupViewController::openLocal(const std::string& name, FileAction action) {
    const std::string path = pathOf(name);
    switch (action) {
        case FileAction::Restore:
            restoreBackup(path);
            break;
        case FileAction::ImportCsv:
            importCSV(path);
            break;
        case FileAction::ImportExport:
            importExport(path);
            break;
        case FileAction::Mail:
            if (!online()) break;
            navigator_.composeMail(
                Mail{std::string(stringOf(app_.settings(), "email")), tr("Numbrel Backup"),
                     tr("Save the attached file in case you need to restore it in future.\n"), path});
            break;
        case FileAction::CopyToRemote:
        case FileAction::Cancel:
            break;
    }
}

void BackupViewController::remove(const Row& row) {
    if (row.action != kFile) return;
    const std::string& name = row.label;
    const bool local = onDevice(name), remote = onRemote(name);
    if (local && !remote) {
        // Only here (or no remote store shown): gone at once.
        std::error_code ec;
        std::filesystem::remove(pathOf(name), ec);
        chooseStore(false);
        if (ec) warn(tr("The file could not be deleted"));
        return;
    }
    deleteFile_ = name;
    if (local) {
        navigator_.present(Alert{kDeleteTag,
                                 tr("Are you sure?"),
                                 fill(tr("Delete the file from this device only, or PERMANENTLY delete it "
                                         "from %@ and all devices"),
                                      {remoteTitle()}),
                                 {tr("Cancel"), tr("Local Device Only"), tr("All Devices")}});
    } else {
        navigator_.present(Alert{kDeleteTag,
                                 tr("Are you sure?"),
                                 fill(tr("This will PERMANENTLY delete the file from %@"), {remoteTitle()}),
                                 {tr("Cancel"), tr("OK")}});
    }
}

}  // namespace numbrel
