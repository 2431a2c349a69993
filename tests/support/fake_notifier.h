// A notifier that keeps what it was asked to plan, and can be told to fail.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "settings/notifier.h"

namespace numbrel::test {

class FakeNotifier : public Notifier {
public:
    std::string schedule(const std::vector<Reminder>& reminders) override {
        ++plans;
        if (throws) throw std::runtime_error("the notification service went away");
        if (!failure.empty()) return failure;
        planned = reminders;
        return {};
    }
    std::string cancelAll() override {
        ++cancels;
        planned.clear();
        return {};
    }
    std::string note() const override { return noteText; }

    std::vector<Reminder> planned;
    int plans = 0;
    int cancels = 0;
    std::string failure;
    bool throws = false;
    std::string noteText;
};

}  // namespace numbrel::test
