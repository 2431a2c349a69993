#include "job_runner.h"

namespace numbrel::app {

JobRunner::JobRunner(QObject* parent) : QObject(parent), Singleton(this) {
    poll_.setInterval(50);
    connect(&poll_, &QTimer::timeout, this, &JobRunner::progressChanged);
}

JobRunner::~JobRunner() {
    stop();
}

QString JobRunner::title() const {
    return current_ ? QString::fromStdString(current_->job.title) : QString();
}

QString JobRunner::message() const {
    return current_ ? QString::fromStdString(current_->job.message) : QString();
}

void JobRunner::start(Job job, Deliver deliver) {
    queue_.push_back({std::move(job), std::move(deliver)});
    if (!current_) next();
}

void JobRunner::next() {
    if (queue_.empty()) return;
    current_ = std::move(queue_.front());
    queue_.pop_front();
    progress_ = 0;
    cancelled_ = false;
    // The work reads only what it was given (copies, files); its result comes back as a queued call.
    auto work = current_->job.work;
    worker_ = QThread::create([this, work] {
        Progress progress = [this](double done) {
            progress_ = done;
            return !cancelled_.load();
        };
        std::function<void()> apply = work ? work(progress) : nullptr;
        QMetaObject::invokeMethod(
            this, [this, apply] { finished(apply); }, Qt::QueuedConnection);
    });
    worker_->setObjectName("numbrel job");
    worker_->start();
    poll_.start();
    emit runningChanged();
}

void JobRunner::joinWorker() {
    if (!worker_) return;
    worker_->wait();
    delete worker_;
    worker_ = nullptr;
    poll_.stop();
}

void JobRunner::finished(std::function<void()> apply) {
    if (!current_) return;
    joinWorker();
    Queued done = std::move(*current_);
    current_.reset();
    emit runningChanged();
    done.deliver(std::move(apply));
    next();
}

void JobRunner::stop() {
    queue_.clear();
    cancelled_ = true;
    joinWorker();
    current_.reset();
}

}  // namespace numbrel::app
