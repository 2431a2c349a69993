// The files that carry planned reminders outside the app: a systemd user timer with its service, which
// fire while the app is not running and survive logout and reboot, and an iCalendar file for machines
// without a user systemd. Only text is made here; writing and enabling it is the notifier's business.
#pragma once

#include <string>
#include <vector>

#include "settings/reminders.h"

namespace numbrel {

inline constexpr const char* kReminderTimer = "numbrel-reminder.timer";
inline constexpr const char* kReminderService = "numbrel-reminder.service";

// The timer: one OnCalendar= per reminder (in UTC), persistent so that a reminder missed while the
// machine was off fires at the next start, to the second.
std::string reminderTimerUnit(const std::vector<Reminder>& reminders);
// The service: one desktop notification with the app's icon. It tells "due today" from "overdue" by
// the time it runs: before a day has passed since the first reminder it is the first one's text.
std::string reminderServiceUnit(const std::vector<Reminder>& reminders);
// An RFC 5545 calendar: an event with a display alarm per reminder. stamp: when it was made.
std::string reminderCalendar(const std::vector<Reminder>& reminders, Date stamp);

}  // namespace numbrel
