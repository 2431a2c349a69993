// The document cloud: backups copied into a folder that the user's sync client keeps in step across
// devices, the offer to restore a newer backup that another device put there, automatic backups and
// their pruning. The folder and its watching are the platform's (CloudFolder); the copies run as jobs,
// off the GUI thread where the front end has one, and always through a temporary name and a rename
// (copyThroughTemporary).
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "exchange/backup.h"
#include "ui/screen.h"

namespace numbrel {

class NumbrelAppDelegate;

// What a scan of the cloud directory found: regular files whose names do not start with "." (sync
// clients write under such names and rename into place).
struct CloudEntry {
    std::string name;
    std::uint64_t size = 0;
};

// The platform's side: the chosen folder, and a query over its "Documents" subfolder that reports
// when the files there changed (a watcher with a debounce; no polling while nothing happens).
class CloudFolder {
public:
    virtual ~CloudFolder() = default;
    // The cloud directory ("Documents" in the chosen folder), created when missing; nothing when no
    // folder is chosen, or it is gone or cannot be written.
    virtual std::optional<std::string> directory() = 0;
    // Starts watching: gathered is called on the GUI side once the first scan is done and after
    // every change that settled, unless updates are paused (then once on resuming).
    virtual void startQuery(const std::string& directory, std::function<void()> gathered) = 0;
    virtual void stopQuery() = 0;
    virtual bool querying() const = 0;
    virtual void pauseUpdates() = 0;
    virtual void resumeUpdates() = 0;
    // The files of the latest scan.
    virtual std::vector<CloudEntry> results() const = 0;
    // Another scan a moment from now, for a file whose size was still changing.
    virtual void rescanSoon() = 0;
};

// The files of a cloud directory as the query reports them (regular files, no names starting with
// "."), and the directory itself: "Documents" in the chosen folder, made when missing. Nothing when no
// folder is chosen, the folder is not there, or the directory cannot be written.
std::vector<CloudEntry> scanCloudDirectory(const std::string& directory);
std::optional<std::string> cloudDocumentsIn(const std::string& folder);

// A query that scans when it is told that the folder changed: the command line's one pass, and the
// tests. (The app's query watches the folder and scans off the GUI thread.)
class ScannedCloudFolder : public CloudFolder {
public:
    explicit ScannedCloudFolder(std::string folder) : folder_(std::move(folder)) {}
    std::optional<std::string> directory() override { return cloudDocumentsIn(folder_); }
    void startQuery(const std::string& directory, std::function<void()> gathered) override;
    void stopQuery() override;
    bool querying() const override { return querying_; }
    void pauseUpdates() override { paused_ = true; }
    void resumeUpdates() override;
    std::vector<CloudEntry> results() const override { return results_; }
    void rescanSoon() override { ++rescans_; }

    // The folder changed: scan, and report unless updates are paused (then on resuming).
    void changed();
    int rescansAsked() const { return rescans_; }
    bool paused() const { return paused_; }

private:
    std::string folder_;
    std::string directory_;
    std::function<void()> gathered_;
    std::vector<CloudEntry> results_;
    bool querying_ = false;
    bool paused_ = false;
    bool pending_ = false;
    int rescans_ = 0;
};

// What one gathering pass did, for the command line and the tests.
struct GatheringReport {
    std::string adopted;     // a fresh device took this newest name and restored nothing
    std::string offered;     // the restore of this name was offered
    std::string downloaded;  // copied down from the cloud first
    std::string waiting;     // newer, but not yet whole: tried again on the next change
    std::vector<std::string> prunedFromCloud;
    std::vector<std::string> prunedLocally;
};

class CloudSync {
public:
    CloudSync(NumbrelAppDelegate& app, Navigator& navigator, CloudFolder& folder, std::string documents);
    ~CloudSync();
    CloudSync(const CloudSync&) = delete;
    CloudSync& operator=(const CloudSync&) = delete;

    // Starts the query over the cloud directory; without one, the no-access warning.
    void iCloudEnable();
    // Stops and drops the query.
    void iCloudDisable();
    bool enabled() const { return folder_.querying(); }
    // The cloud directory, once known.
    const std::optional<std::string>& directory() const { return directory_; }

    // The names in the cloud, newest first (updates paused while read; resumed when resume is set).
    std::vector<std::string> iCloudFiles(bool resume);
    // After each gathering or update: adopt, offer the newest backup, prune.
    void iCloudDidFinishGathering();
    // Offers the restore of a backup that is in the local Documents folder.
    void iCloudRestore(const std::string& name);
    // A local backup, then its copy into the cloud. done (optional) hears the name or the failure.
    void iCloudBackup(
        std::function<void(const std::string& name, std::optional<std::string> error)> done = {});

    // The backups screen's cloud operations, as jobs; done hears the outcome on this side.
    using Done = std::function<void(std::optional<std::string> error)>;
    void copyToCloud(const std::string& name, Done done);
    // Copies a cloud file down; a file that is not whole yet (or gone) answers notYetAvailable().
    void copyFromCloud(const std::string& name, Done done);
    void deleteFromCloud(const std::string& name, Done done);
    static std::string notYetAvailable();

    // Told before a restore replaces the document (the screens above the main screen close) and after.
    void setRestoringHook(std::function<void()> hook) { restoringHook_ = std::move(hook); }
    void setRestoredHook(std::function<void()> hook) { restoredHook_ = std::move(hook); }
    // Told when the document changed without a screen acting ("filename" adopted, a backup's name
    // kept, a restore): it is to be saved.
    void setChangedHook(std::function<void()> hook) { changedHook_ = std::move(hook); }

    // The last gathering pass, and whether work it started (downloads, checks, deletes) is running.
    const GatheringReport& report() const { return report_; }
    bool busy() const { return pending_ > 0; }

    // Told after every gathering pass (the list of cloud files may have changed). A listener goes
    // when its owner drops what this returns. The listed hook is told after the listeners (the front
    // end draws what they changed).
    using Listener = std::shared_ptr<std::function<void()>>;
    [[nodiscard]] Listener listen(std::function<void()> changed);
    void setListedHook(std::function<void()> hook) { listedHook_ = std::move(hook); }

    static constexpr int kOfferTag = 70;

private:
    void run(Job job);
    void finished();
    void download(const std::string& name);
    void offer(const std::string& name, RestoreCheck check);
    void prune(const std::vector<std::string>& cloud);

    NumbrelAppDelegate& app_;
    Navigator& navigator_;
    CloudFolder& folder_;
    std::string documents_;
    std::optional<std::string> directory_;
    std::map<std::string, std::uint64_t> lastSizes_;  // the previous scan, to see a file still growing
    GatheringReport report_;
    int pending_ = 0;
    void listChanged();

    std::function<void()> restoringHook_, restoredHook_, changedHook_, listedHook_;
    std::vector<std::weak_ptr<std::function<void()>>> listeners_;
    void changed() {
        if (changedHook_) changedHook_();
    }
    std::shared_ptr<bool> alive_;  // results of jobs that outlive this object go nowhere
};

}  // namespace numbrel
