// Reading reminders: when the next readings are due ("reminders", "on", "at" of the document) and the
// seven notifications planned for that day and the six after it.
#pragma once

#include <string>
#include <vector>

#include "plist/value.h"

namespace numbrel {

class Calendar;
class Environment;

struct Reminder {
    Date at;
    std::string text;  // "Meter readings are due today" for the first, "... overdue" after
    friend bool operator==(const Reminder&, const Reminder&) = default;
};

// The seven reminders planned at now, in the device's zone: none when "reminders" is "Off" or
// unknown. "Daily" starts tomorrow at the hour; "Weekly" on the next chosen weekday (a week ahead
// when that is today); "Monthly" on the next chosen date (next month when that is today or past).
std::vector<Reminder> reminderSchedule(const Value& settings, const Environment& env,
                                       const Calendar& calendar);

// "09:00 am", "12:00 pm", "01:00 pm": an hour of the time rows on a 12-hour clock.
std::string reminderTimeLabel(int hour);
// "1st" ... "28th": a date of the monthly rows (0 is the 1st).
std::string reminderDateLabel(int day);

}  // namespace numbrel
