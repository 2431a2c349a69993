// The document cloud's query on the desktop: the chosen folder's "Documents" watched with inotify
// (a file closed after writing, moved in or out, deleted), changes settled for a moment, then scanned
// on a pool thread; the results reach the GUI thread as the query's gathering. Nothing runs while the
// folder is quiet.
#pragma once

#include <QObject>
#include <QSocketNotifier>
#include <QTimer>
#include <functional>
#include <memory>

#include "exchange/cloud_sync.h"

namespace numbrel {
class Configuration;
}

namespace numbrel::app {

class CloudFolderWatcher : public QObject, public CloudFolder {
    Q_OBJECT

public:
    // The folder comes from the configuration's "cloud.folder", read whenever it is asked for.
    explicit CloudFolderWatcher(const Configuration& configuration, QObject* parent = nullptr);
    ~CloudFolderWatcher() override;

    std::optional<std::string> directory() override;
    void startQuery(const std::string& directory, std::function<void()> gathered) override;
    void stopQuery() override;
    bool querying() const override { return querying_; }
    void pauseUpdates() override { paused_ = true; }
    void resumeUpdates() override;
    std::vector<CloudEntry> results() const override { return results_; }
    void rescanSoon() override { rescan_.start(); }

    // How many scans have been started (the tests see that a quiet folder is not read).
    int scans() const { return scans_; }

private:
    void readEvents();
    void scan();
    void scanned(unsigned generation, std::vector<CloudEntry> results);

    const Configuration& configuration_;
    std::string directory_;
    std::function<void()> gathered_;
    std::vector<CloudEntry> results_;
    int inotify_ = -1;
    std::unique_ptr<QSocketNotifier> notifier_;
    QTimer settle_;  // events come in bursts: one scan once they stop
    QTimer rescan_;  // a file still growing is looked at again
    unsigned generation_ = 0;
    bool querying_ = false;
    bool paused_ = false;
    bool pending_ = false;
    int scans_ = 0;
};

}  // namespace numbrel::app
