#include "queued_notifier.h"

#include "ui/localize.h"

namespace numbrel::app {

QueuedNotifier::QueuedNotifier(std::unique_ptr<Notifier> backend)
    : backend_(std::move(backend)), worker_([this] { loop(); }) {}

QueuedNotifier::~QueuedNotifier() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_one();
    worker_.join();
}

std::string QueuedNotifier::schedule(const std::vector<Reminder>& reminders) {
    post([this, reminders] { return backend_->schedule(reminders); });
    return {};
}

std::string QueuedNotifier::cancelAll() {
    post([this] { return backend_->cancelAll(); });
    return {};
}

std::string QueuedNotifier::note() const {
    std::lock_guard lock(mutex_);
    if (problem_.empty()) return note_;
    std::string problem = fill(tr("Reminders could not be planned: %@"), {problem_});
    return note_.empty() ? problem : note_ + "\n" + problem;
}

void QueuedNotifier::drain() {
    std::unique_lock lock(mutex_);
    idle_.wait(lock, [&] { return queue_.empty() && !busy_; });
}

void QueuedNotifier::post(std::function<std::string()> call) {
    {
        std::lock_guard lock(mutex_);
        queue_.push_back(std::move(call));
    }
    wake_.notify_one();
}

void QueuedNotifier::loop() {
    std::unique_lock lock(mutex_);
    for (;;) {
        wake_.wait(lock, [&] { return stopping_ || !queue_.empty(); });
        if (queue_.empty()) return;  // stopping, with nothing left to do
        auto call = std::move(queue_.front());
        queue_.pop_front();
        busy_ = true;
        lock.unlock();
        std::string problem;
        try {
            problem = call();
        } catch (const std::exception& e) {
            problem = e.what();
        }
        std::string note = backend_->note();
        lock.lock();
        busy_ = false;
        problem_ = std::move(problem);
        note_ = std::move(note);
        idle_.notify_all();
    }
}

}  // namespace numbrel::app
