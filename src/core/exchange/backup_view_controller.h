// The backups screen: "Backup Now", the files of the Documents folder with the file menu (restore a
// backup, import a CSV file, send a file by mail), deleting files, and the restore and import flows
// with their questions. The remote store shown (the document cloud, or a linked Dropbox account) has
// its files listed beside the local ones (grey where they are not on this device yet); they are copied
// up and down, and deleted there too.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "exchange/backup.h"
#include "exchange/cloud_sync.h"
#include "exchange/csv_import.h"
#include "exchange/dropbox.h"
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

    // Chooses the remote store again and re-reads the folder and the remote list (Dropbox's as a job,
    // "Syncing").
    void refresh();
    void appeared() override { refresh(); }
    const std::vector<std::string>& backups() const { return backups_; }
    // The remote store shown: -1 none (the title "Backups"), 0 the document cloud ("iCloud"), 1 Dropbox
    // ("Dropbox"). With both, the title bar lets the user choose.
    int selectedSegmentIndex() const { return selectedSegmentIndex_; }
    std::vector<std::string> titleSegments() const override;
    int titleSegment() const override { return titleSegments().empty() ? -1 : selectedSegmentIndex_; }
    void chooseSegment(int tag, int index) override;
    const std::vector<std::string>& remoteBackups() const { return remoteBackups_; }
    // The Dropbox folder in use: "/" until the account is seen to hold "/Numbrel".
    const std::string& restPrefix() const { return restPrefix_; }
    // Whether a copy or delete on the remote store is under way; its word is the title meanwhile.
    bool busy() const { return !busyTitle_.empty(); }
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
    static constexpr int kDeleteTag = 55;

protected:
    void select(const Row& row) override;
    void remove(const Row& row) override;

private:
    std::string pathOf(const std::string& name) const { return directory_ + "/" + name; }
    bool onDevice(const std::string& name) const;
    bool onRemote(const std::string& name) const;
    std::string remoteTitle() const;
    // Whether the internet can be reached; if not, the user is told.
    bool online();
    void warn(const std::string& message);
    void changed();
    void openFileMenu(const std::string& name);
    // The local files and the remote list merged again (the remote list as it is known).
    void relist();
    void startAction(std::string title);
    // The busy title gone, and the files listed again.
    void stopAction();
    // An outcome of remote work, delivered to this screen only while it exists.
    CloudSync::Done whenDone(std::function<void(const std::optional<std::string>& error)> then);
    // The store chosen again; Dropbox's list read again when sync asks, or when it has just been chosen.
    void chooseStore(bool sync);
    void copyToRemote(const std::string& name);
    void deleteRemote(const std::string& name);
    // Dropbox's side: each a job under the busy title, reporting to this screen.
    void syncDropbox();
    void uploadToDropbox(const std::string& name);
    // One call to Dropbox as a cancellable job under a busy title; done runs when it succeeded, the
    // failure's alert (with failure as its text) when it did not.
    using DropboxCall =
        std::function<std::optional<DropboxFailure>(DropboxSession& box, const Progress& progress)>;
    void dropboxCall(const std::string& title, DropboxCall call, const std::string& failure,
                     std::function<void()> done);
    void deleteFromDropbox(const std::string& name);
    // An outcome of Dropbox work: true when it failed, after the busy state ended and the user was told
    // (a cancel is not told; a link that has ended is).
    bool dropboxFailed(const std::optional<DropboxFailure>& failure, const std::string& message);
    void restoreChecked(RestoreCheck check);
    void verifyFile(const std::string& path, bool fromExport);
    void importHeld();

    NumbrelAppDelegate& app_;
    Navigator& navigator_;
    std::string directory_;
    std::vector<std::string> backups_;
    bool editing_ = false;
    enum class FileAction { CopyToRemote, Mail, Restore, ImportCsv, ImportExport, Cancel };
    // Runs a file menu choice on a file that is on this device now.
    void openLocal(const std::string& name, FileAction action);
    // Copies a file only on the remote store down, then runs the choice on it.
    void fetchThenOpen(const std::string& name, FileAction action);
    std::string menuFile_;                                  // the file the menu is open for
    std::vector<std::pair<std::string, FileAction>> menu_;  // its entries, in order
    std::optional<RestoreCheck> heldBackup_;                // waiting for the answer to "Old Backup?"
    std::optional<RestoreOutcome> lastRestore_;
    std::vector<ImportRow> heldRows_;  // waiting for "Import"
    bool heldExport_ = false;          // the held rows come from an export
    std::function<void()> changedHook_;
    std::unique_ptr<TransferServer> server_;  // while the Wi-Fi alert is open
    int selectedSegmentIndex_ = -1;
    bool shown_ = false;       // the screen has been shown: Dropbox may be read
    bool bothStores_ = false;  // the cloud and Dropbox: the title bar chooses
    int chosenStore_ = 0;      // what it chose
    std::string restPrefix_ = "/";
    std::optional<std::string> fileToUpload_;  // made by "Backup Now" while the folder is not known yet
    std::vector<std::string> remoteBackups_;
    std::set<std::string> onDevice_;  // the names of the folder's files, as last listed
    std::string busyTitle_;
    std::string deleteFile_;  // the file "Are you sure?" asks about
    CloudSync::Listener cloudListener_;
};

}  // namespace numbrel
