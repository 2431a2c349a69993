#include "cloud_folder_watcher.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QPointer>
#include <QThreadPool>

#include "store/configuration.h"

namespace numbrel::app {

CloudFolderWatcher::CloudFolderWatcher(const Configuration& configuration, QObject* parent)
    : QObject(parent), configuration_(configuration) {
    settle_.setSingleShot(true);
    settle_.setInterval(300);
    connect(&settle_, &QTimer::timeout, this, &CloudFolderWatcher::scan);
    rescan_.setSingleShot(true);
    rescan_.setInterval(1000);
    connect(&rescan_, &QTimer::timeout, this, &CloudFolderWatcher::scan);
}

CloudFolderWatcher::~CloudFolderWatcher() {
    stopQuery();
}

std::optional<std::string> CloudFolderWatcher::directory() {
    return cloudDocumentsIn(configuration_.value("cloud.folder"));
}

void CloudFolderWatcher::startQuery(const std::string& directory, std::function<void()> gathered) {
    stopQuery();
    directory_ = directory;
    gathered_ = std::move(gathered);
    querying_ = true;
    paused_ = pending_ = false;
    inotify_ = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (inotify_ >= 0 && ::inotify_add_watch(inotify_, directory_.c_str(),
                                             IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE |
                                                 IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR) >= 0) {
        notifier_ = std::make_unique<QSocketNotifier>(inotify_, QSocketNotifier::Read);
        connect(notifier_.get(), &QSocketNotifier::activated, this, &CloudFolderWatcher::readEvents);
    }
    // Without a watch (the folder went, or the system's limit of watches is reached) the query still
    // gathers once here, and again whenever it is enabled (each return to the app).
    scan();
}

void CloudFolderWatcher::stopQuery() {
    querying_ = false;
    gathered_ = nullptr;
    settle_.stop();
    rescan_.stop();
    notifier_.reset();
    if (inotify_ >= 0) ::close(inotify_);
    inotify_ = -1;
    ++generation_;  // scans under way report to nobody
}

void CloudFolderWatcher::resumeUpdates() {
    paused_ = false;
    if (std::exchange(pending_, false) && gathered_) gathered_();
}

void CloudFolderWatcher::readEvents() {
    alignas(inotify_event) char buffer[4096];
    bool any = false;
    for (;;) {
        const ssize_t n = ::read(inotify_, buffer, sizeof buffer);
        if (n <= 0) break;
        any = true;
    }
    if (any) settle_.start();  // restarted by every burst
}

void CloudFolderWatcher::scan() {
    if (!querying_) return;
    ++scans_;
    const unsigned generation = ++generation_;
    // A folder on a network share may take its time; the GUI thread never waits for it. The answer
    // goes through the application object, which outlives every scan, to this watcher if it still is.
    QThreadPool::globalInstance()->start([directory = directory_, generation, self = QPointer(this)] {
        std::vector<CloudEntry> found = scanCloudDirectory(directory);
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [self, generation, found = std::move(found)]() mutable {
                if (self) self->scanned(generation, std::move(found));
            },
            Qt::QueuedConnection);
    });
}

void CloudFolderWatcher::scanned(unsigned generation, std::vector<CloudEntry> results) {
    if (generation != generation_ || !querying_) return;  // a newer scan is under way, or the query went
    results_ = std::move(results);
    if (paused_)
        pending_ = true;
    else if (gathered_)
        gathered_();
}

}  // namespace numbrel::app
