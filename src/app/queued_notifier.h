// Reminders planned and cancelled off the GUI thread: the desktop's notifier starts other programs
// (systemctl), which may take longer than a frame. Calls are queued and run in order on a thread of
// their own; the queue is finished before the app ends, so a plan made on quitting is not lost.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "settings/notifier.h"

namespace numbrel::app {

class QueuedNotifier : public Notifier {
public:
    explicit QueuedNotifier(std::unique_ptr<Notifier> backend);
    ~QueuedNotifier() override;

    // Both answer at once; what goes wrong later shows in note().
    std::string schedule(const std::vector<Reminder>& reminders) override;
    std::string cancelAll() override;
    std::string note() const override;

    // Waits until everything queued so far has run (tests).
    void drain();

private:
    void post(std::function<std::string()> call);
    void loop();

    std::unique_ptr<Notifier> backend_;
    mutable std::mutex mutex_;
    std::condition_variable wake_, idle_;
    std::deque<std::function<std::string()>> queue_;
    bool busy_ = false, stopping_ = false;
    std::string note_, problem_;
    std::thread worker_;
};

}  // namespace numbrel::app
