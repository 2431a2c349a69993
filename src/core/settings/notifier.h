// Where planned reminders go: the desktop's notifications, a calendar file, or a test's record. The
// save sequence plans them on leaving the app and cancels them on its return; a notifier that fails
// says why and never stops the save.
#pragma once

#include <string>
#include <vector>

#include "settings/reminders.h"

namespace numbrel {

class Notifier {
public:
    virtual ~Notifier() = default;
    // Plans these reminders in place of any planned before. Answers what went wrong, or "".
    virtual std::string schedule(const std::vector<Reminder>& reminders) = 0;
    // Takes back every planned reminder. Answers what went wrong, or "".
    virtual std::string cancelAll() = 0;
    // A line for the reminders screen when reminders go somewhere the user must know of ("" else).
    virtual std::string note() const { return {}; }
};

}  // namespace numbrel
