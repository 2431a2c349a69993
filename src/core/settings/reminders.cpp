#include "settings/reminders.h"

#include <algorithm>
#include <cstdio>

#include "store/calendar.h"
#include "store/environment.h"
#include "ui/localize.h"

namespace numbrel {

std::vector<Reminder> reminderSchedule(const Value& settings, const Environment& env,
                                       const Calendar& calendar) {
    const std::string_view kind = stringOf(settings, "reminders", "Off");
    const int hour = static_cast<int>(std::clamp<std::int64_t>(integerOf(settings, "at") / 100, 0, 23));
    const std::int64_t on = integerOf(settings, "on");
    // Minutes and seconds are dropped: every reminder is on the hour.
    const CalendarDate today = calendar.components(env.now());
    Date first{};
    if (kind == "Daily") {
        first = calendar.addDays(calendar.date(today.year, today.month, today.day, hour), 1);
    } else if (kind == "Weekly") {
        // "on" counts from Monday; the calendar's weekdays from Sunday (1) to Saturday (7).
        const int chosen = static_cast<int>(std::clamp<std::int64_t>(on, 0, 6));
        const int target = chosen == 6 ? 1 : chosen + 2;
        const int ahead = target > today.weekday ? target - today.weekday : target + 7 - today.weekday;
        first = calendar.addDays(calendar.date(today.year, today.month, today.day, hour), ahead);
    } else if (kind == "Monthly") {
        const int day = static_cast<int>(std::clamp<std::int64_t>(on, 0, 27)) + 1;
        int year = today.year, month = today.month;
        if (today.day >= day && ++month > 12) {
            month = 1;
            ++year;
        }
        first = calendar.date(year, month, day, hour);
    } else {
        return {};
    }
    std::vector<Reminder> planned;
    const std::string due = fill(tr("Meter readings are %@"), {tr("due today")});
    const std::string overdue = fill(tr("Meter readings are %@"), {tr("overdue")});
    for (int i = 0; i < 7; ++i)
        planned.push_back({i == 0 ? first : calendar.addDays(first, i), i == 0 ? due : overdue});
    return planned;
}

std::string reminderTimeLabel(int hour) {
    hour = std::clamp(hour, 0, 23);
    char text[64];
    // TRANSLATORS: translate as "hours-on-clock:24" where times are read from a 24-hour clock ("20:00");
    // keep "hours-on-clock:12" for "08:00 pm".
    if (tr("hours-on-clock:12") == "hours-on-clock:24") {
        std::snprintf(text, sizeof text, "%02d:00", hour);
        return text;
    }
    const int shown = hour % 12 == 0 ? 12 : hour % 12;
    std::snprintf(text, sizeof text, "%02d:00 %s", shown, (hour < 12 ? tr("am") : tr("pm")).c_str());
    return text;
}

std::string reminderDateLabel(int day) {
    static const char* const kDates[] = {
        N_("1st"),  N_("2nd"),  N_("3rd"),  N_("4th"),  N_("5th"),  N_("6th"),  N_("7th"),
        N_("8th"),  N_("9th"),  N_("10th"), N_("11th"), N_("12th"), N_("13th"), N_("14th"),
        N_("15th"), N_("16th"), N_("17th"), N_("18th"), N_("19th"), N_("20th"), N_("21st"),
        N_("22nd"), N_("23rd"), N_("24th"), N_("25th"), N_("26th"), N_("27th"), N_("28th")};
    return tr(kDates[std::clamp(day, 0, 27)]);
}

}  // namespace numbrel
