// The backups screen: "Backup Now", the files of the Documents folder with the file menu (restore a
// backup, import a CSV file, send a file by mail), deleting files, and the restore and import flows
// with their questions.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "exchange/backup.h"
#include "exchange/csv_import.h"
#include "exchange/export_import.h"
#include "plist/value.h"
#include "ui/screen.h"

namespace numbrel {

class NumbrelAppDelegate;

class BackupViewController : public Screen {
public:
    BackupViewController(NumbrelAppDelegate& app, Navigator& navigator, std::string directory);
    ~BackupViewController() override;  // a transfer server still running stops

    std::string title() const override;
    std::vector<Section> sections() const override;
    void answerAlert(int tag, int button) override;
    bool canEdit() const override { return true; }
    bool isEditing() const override { return editing_; }
    void setEditing(bool on) override { editing_ = on; }

    // Re-reads the folder.
    void refresh();
    const std::vector<std::string>& backups() const { return backups_; }
    // Copies a file into the folder ("Add File…", a file dropped on the screen); a file of the same
    // name is replaced only by a whole copy. A failure is told, and the folder stays as it was.
    void addFile(const std::string& path);

    // "Import / Export by WiFi": the transfer pages served while their alert is open.
    void wifiAction();
    bool serving() const { return server_ != nullptr; }

    // "Backup Now": a backup in the Documents folder (a job), then the list again.
    void backupAction();
    // The integrity checks of a file (a job) and, when it passes, the document replaced (or the
    // question). The outcome is kept once known.
    void restoreBackup(const std::string& path);
    std::optional<RestoreOutcome> lastRestore() const { return lastRestore_; }
    // Verifies a CSV file (a job that can be cancelled) and asks whether to import what it holds.
    void importCSV(const std::string& path);
    // The same for a file the CSV export wrote (perhaps edited in a spreadsheet since).
    void importExport(const std::string& path);
    // A verified file's rows wait for the answer "Import".
    bool awaitsImport() const { return !heldRows_.empty(); }

    // Told when the document has been replaced by a restore or grown by an import.
    void setChangedHook(std::function<void()> hook) { changedHook_ = std::move(hook); }

    static constexpr int kFileMenuTag = 50;
    static constexpr int kRestoreTag = 51;
    static constexpr int kImportTag = 52;
    static constexpr int kWarningTag = 53;
    static constexpr int kWifiTag = 54;

protected:
    void select(const Row& row) override;
    void remove(const Row& row) override;

private:
    std::string pathOf(const std::string& name) const { return directory_ + "/" + name; }
    void warn(const std::string& message);
    void changed();
    void openFileMenu(const std::string& name);
    void restoreChecked(RestoreCheck check);
    void verifyFile(const std::string& path, bool fromExport);
    void importHeld();

    NumbrelAppDelegate& app_;
    Navigator& navigator_;
    std::string directory_;
    std::vector<std::string> backups_;
    bool editing_ = false;
    enum class FileAction { Mail, Restore, ImportCsv, ImportExport, Cancel };
    std::string menuFile_;                                  // the file the menu is open for
    std::vector<std::pair<std::string, FileAction>> menu_;  // its entries, in order
    std::optional<RestoreCheck> heldBackup_;                // waiting for the answer to "Old Backup?"
    std::optional<RestoreOutcome> lastRestore_;
    std::vector<ImportRow> heldRows_;  // waiting for "Import"
    bool heldExport_ = false;          // the held rows come from an export
    std::function<void()> changedHook_;
    std::unique_ptr<TransferServer> server_;  // while the Wi-Fi alert is open
};

}  // namespace numbrel
