// Long work off the GUI thread: one worker thread runs the screens' jobs in turn, reports how far the
// running one has come, stops it when asked, and hands its result back to the GUI thread.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QThread>
#include <QTimer>
#include <atomic>
#include <deque>
#include <functional>

#include "singleton.h"
#include "ui/screen.h"

namespace numbrel::app {

class JobRunner : public QObject, public Singleton<JobRunner> {
    Q_OBJECT
    QML_NAMED_ELEMENT(Jobs)
    QML_SINGLETON
    Q_PROPERTY(bool running READ running NOTIFY runningChanged)
    Q_PROPERTY(QString title READ title NOTIFY runningChanged)
    Q_PROPERTY(QString message READ message NOTIFY runningChanged)
    Q_PROPERTY(bool cancellable READ cancellable NOTIFY runningChanged)
    Q_PROPERTY(double progress READ progress NOTIFY progressChanged)

public:
    // What becomes of a job's result: given the function the work answered (perhaps empty), on the
    // GUI thread.
    using Deliver = std::function<void(std::function<void()> apply)>;

    // No default: QML would make a runner of its own for "Jobs" rather than ask for this one.
    explicit JobRunner(QObject* parent);
    ~JobRunner() override;

    void start(Job job, Deliver deliver);
    bool running() const { return current_.has_value(); }
    QString title() const;
    QString message() const;
    bool cancellable() const { return current_ && current_->job.cancellable; }
    double progress() const { return progress_.load(); }
    Q_INVOKABLE void cancel() { cancelled_ = true; }
    // Waits for the running job and drops the queued ones (the app is closing).
    void stop();

signals:
    void runningChanged();
    void progressChanged();

private:
    struct Queued {
        Job job;
        Deliver deliver;
    };
    void next();
    void finished(std::function<void()> apply);
    void joinWorker();

    std::deque<Queued> queue_;
    std::optional<Queued> current_;
    QThread* worker_ = nullptr;
    std::atomic<double> progress_{0};
    std::atomic<bool> cancelled_{false};
    QTimer poll_;  // progress is read while a job runs, not pushed at every step
};

}  // namespace numbrel::app
