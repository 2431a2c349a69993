#include "exchange/backup_view_controller.h"

#include <filesystem>
#include <system_error>

#include "exchange/backup.h"
#include "store/app_delegate.h"
#include "store/file_ops.h"
#include "ui/localize.h"

namespace numbrel {

namespace {

std::string lowerExtension(const std::string& name) {
    std::string ext = std::filesystem::path(name).extension().string();
    for (char& c : ext)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return ext;
}

// Reads a file of at most limit bytes; otherwise the message for a file too large, or one that cannot
// be read.
std::optional<std::string> readLimited(const std::string& path, std::uint64_t limit,
                                       const std::string& tooLarge, std::string& bytes) {
    std::error_code ec;
    std::uintmax_t size = std::filesystem::file_size(path, ec);
    if (ec) return tr("The file could not be read");
    if (size > limit) return tooLarge;
    std::string error;
    std::optional<std::string> content = readWholeFile(path, error);
    if (!content) return tr("The file could not be read");
    bytes = std::move(*content);
    return std::nullopt;
}

}  // namespace

BackupViewController::BackupViewController(NumbrelAppDelegate& app, Navigator& navigator,
                                           std::string directory)
    : app_(app), navigator_(navigator), directory_(std::move(directory)) {
    removeStaleTemporaries(directory_);  // backups cut short by a killed process are not files to offer
    refresh();
}

void BackupViewController::refresh() {
    backups_ = listBackups(filesIn(directory_), {});
}

void BackupViewController::addFile(const std::string& path) {
    std::optional<std::string> error = copyIntoFolder(path, directory_);
    refresh();
    if (error) warn(fill(tr("The file could not be added: %@"), {*error}));
}

std::string BackupViewController::title() const {
    return tr("Backups");
}

std::vector<Section> BackupViewController::sections() const {
    Section channels;
    if (addFileHook_) channels.rows.push_back(Row{tr("Add File…"), "", Accessory::Disclosure});
    Section now{
        "", backups_.empty() ? tr("Import a backup file or Backup Now") : "", {Row{tr("Backup Now")}}};
    Section files{"", backups_.empty() ? "" : tr("Select a file or swipe to delete"), {}};
    for (const std::string& name : backups_) {
        Row r{name};
        r.deletable = editing_;
        r.swipeDeletes = true;
        files.rows.push_back(r);
    }
    return {channels, now, files};
}

void BackupViewController::selectRow(int section, int row) {
    if (section == 0 && row == 0 && addFileHook_) {
        addFileHook_();
        return;
    }
    if (section == 1 && row == 0) {
        backupAction();
        return;
    }
    if (section != 2 || row < 0 || row >= static_cast<int>(backups_.size())) return;
    // The file menu, by what the file is: a ".bak" restores, a ".csv" imports, anything else offers both.
    menuFile_ = backups_[static_cast<std::size_t>(row)];
    menu_.clear();
    if (navigator_.canSendMail()) menu_.push_back({tr("Export by Email"), FileAction::Mail});
    std::string ext = lowerExtension(menuFile_);
    if (ext == ".bak") {
        menu_.push_back({tr("Restore Backup"), FileAction::Restore});
    } else if (ext == ".csv") {
        menu_.push_back({tr("Import CSV File"), FileAction::ImportCsv});
        // An export written by the app (its header line tells) has an entry of its own.
        std::string error;
        std::optional<std::string> start = readWholeFile(pathOf(menuFile_), error, 64 * 1024);
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
    NumbrelAppDelegate::Backup b = app_.localBackup(directory_);
    refresh();
    if (b.error) warn(*b.error);
}

void BackupViewController::warn(const std::string& message) {
    navigator_.present(Alert{kWarningTag, tr("Warning!"), message, {tr("OK")}});
}

void BackupViewController::changed() {
    app_.reshape();  // readings were imported, or the document replaced
    if (changedHook_) changedHook_();
}

RestoreOutcome BackupViewController::restoreBackup(const std::string& path) {
    std::string bytes;
    if (std::optional<std::string> problem = readLimited(
            path, kMaxBackupFileBytes, tr("This backup is larger than 1 GB and cannot be restored"), bytes)) {
        warn(*problem);
        return RestoreOutcome::Unreadable;
    }
    RestoreCheck check = checkBackup(bytes, integerOf(app_.settings(), "version"));
    switch (check.outcome) {
        case RestoreOutcome::Restored: {
            app_.setSettings(std::move(check.document), std::move(check.fingerprint));
            changed();
            navigator_.pop();
            Alert done{kRestoreTag, tr("Backup Restored"), "", {tr("OK")}};
            done.dismissAfterSeconds = 1.5;
            navigator_.present(done);
            return check.outcome;
        }
        case RestoreOutcome::TooNew:
            navigator_.present(
                Alert{kRestoreTag,
                      tr("Backup Too New"),
                      tr("This backup was made by a newer version of Numbrel. Please update the version "
                         "on this device to the latest before installing"),
                      {tr("OK")}});
            return check.outcome;
        case RestoreOutcome::OldBackup:
            heldBackup_ = std::move(check);
            navigator_.present(
                Alert{kRestoreTag,
                      tr("Old Backup?"),
                      tr("This backup was probably not made on this device or OS version. To continue "
                         "anyway, select Install"),
                      {tr("Cancel"), tr("Install")}});
            return RestoreOutcome::OldBackup;
        case RestoreOutcome::Corrupt:
            navigator_.present(Alert{
                kRestoreTag,
                tr("Backup Corrupt"),
                tr("This backup was not made using this application, or it has been changed in some way"),
                {tr("Cancel")}});
            return check.outcome;
        case RestoreOutcome::Unreadable:
            break;
    }
    return check.outcome;
}

void BackupViewController::importCSV(const std::string& path) {
    std::string bytes;
    heldRows_.clear();
    if (std::optional<std::string> problem =
            readLimited(path, kMaxCsvFileBytes, tr("This file is larger than 200 MB"), bytes)) {
        warn(*problem);
        return;
    }
    CsvVerification v =
        verifyCsv(bytes, app_.settings(), app_.environment(), app_.formatter().decimalSeparator());
    Alert verified = v.alert(kImportTag);
    heldRows_ = std::move(v.rows);
    heldExport_ = false;
    navigator_.present(verified);
}

void BackupViewController::importExport(const std::string& path) {
    std::string bytes;
    heldRows_.clear();
    if (std::optional<std::string> problem =
            readLimited(path, kMaxCsvFileBytes, tr("This file is larger than 200 MB"), bytes)) {
        warn(*problem);
        return;
    }
    CsvVerification v = verifyExport(bytes, app_.settings(), app_.environment(), app_.formatter());
    Alert verified = v.alert(kImportTag);
    heldRows_ = std::move(v.rows);
    heldExport_ = true;
    navigator_.present(verified);
}

void BackupViewController::answerAlert(int tag, int button) {
    if (tag == kFileMenuTag) {
        if (button < 0 || button >= static_cast<int>(menu_.size())) return;
        const FileAction choice = menu_[static_cast<std::size_t>(button)].second;
        const std::string path = pathOf(menuFile_);
        switch (choice) {
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
                navigator_.composeMail(
                    Mail{std::string(stringOf(app_.settings(), "email")), tr("Numbrel Backup"),
                         tr("Save the attached file in case you need to restore it in future.\n"), path});
                break;
            case FileAction::Cancel:
                break;
        }
        return;
    }
    if (tag == kRestoreTag && heldBackup_) {
        // "Old Backup?": Install replaces the document without a further word; Cancel drops it.
        if (button == 1) {
            app_.setSettings(std::move(heldBackup_->document), std::move(heldBackup_->fingerprint));
            changed();
            navigator_.pop();
        }
        heldBackup_.reset();
        return;
    }
    if (tag == kImportTag) {
        // Only the confirming button of "CSV File Verified" imports; every other answer drops the rows.
        bool confirmed = button == 1 && !heldRows_.empty();
        if (confirmed) {
            if (heldExport_) {
                mergeExport(app_.settings(), heldRows_, app_.formatter());
            } else {
                mergeRows(app_.settings(), heldRows_);
            }
            changed();
        }
        heldRows_.clear();
        if (confirmed) navigator_.present(Alert{kWarningTag, tr("Readings Imported"), "", {tr("OK")}});
    }
}

void BackupViewController::commitDelete(int section, int row) {
    if (section != 2 || row < 0 || row >= static_cast<int>(backups_.size())) return;
    std::error_code ec;
    std::filesystem::remove(pathOf(backups_[static_cast<std::size_t>(row)]), ec);
    refresh();
    if (ec) warn(tr("The file could not be deleted"));
}

}  // namespace numbrel
