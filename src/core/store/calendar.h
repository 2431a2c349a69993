// Gregorian calendar arithmetic in the device time zone (ICU), over absolute instants.
#pragma once

#include <cstdint>
#include <memory>

#include "plist/value.h"

#include <unicode/uversion.h>

U_NAMESPACE_BEGIN
class Calendar;
class TimeZone;
U_NAMESPACE_END

namespace numbrel {

class Environment;

struct CalendarDate {
    int year = 0;
    int month = 0;  // 1..12
    int day = 0;    // 1..31
    int hour = 0;   // 0..23
    int minute = 0;
    int second = 0;
    int weekday = 0;              // 1 = Sunday ... 7 = Saturday
    double secondsIntoDay = 0.0;  // since local midnight (wall clock), with the fraction
};

class Calendar {
public:
    explicit Calendar(const Environment& env);
    ~Calendar();
    Calendar(const Calendar&) = delete;
    Calendar& operator=(const Calendar&) = delete;

    CalendarDate components(Date date) const;

    // The instant of a local wall-clock time (lenient: day 32 rolls into the next month).
    Date date(int year, int month, int day, int hour = 0, int minute = 0, double second = 0.0) const;

    // Calendar arithmetic that keeps the wall-clock time across daylight-saving changes.
    Date addDays(Date date, int days) const;
    Date addMonths(Date date, int months) const;

    // Local midnight at the start of the date's day.
    Date startOfDay(Date date) const;

    // The calendar month holding an instant: its year and month and the local midnights that open
    // it and the next one. The last month asked for is remembered, so that walking through a month
    // costs one calendar computation.
    struct Month {
        int year = 0;
        int month = 0;
        Date start{};
        Date next{};
    };
    Month monthOf(Date date) const;

    // The local calendar day of an instant, computed from the zone's offset alone: the fast path for
    // walking many readings. dayNumber counts days from 1970-01-01 (local), so that days can be
    // stepped by plain arithmetic.
    struct Day {
        int year = 0;
        int month = 0;
        int day = 0;
        int weekday = 0;  // 1 = Sunday ... 7 = Saturday
        std::int64_t dayNumber = 0;
        double secondsIntoDay = 0.0;
    };
    Day localDay(Date date) const;
    static Day dayFromNumber(std::int64_t dayNumber);

private:
    std::unique_ptr<icu::Calendar> cal_;  // ICU calendars are stateful; this one is private scratch
    const icu::TimeZone* zone_;
    mutable Month lastMonth_{0, 0, Date{1.0}, Date{0.0}};  // empty: start after next
    // The zone's offset (seconds) and the window of instants (ICU milliseconds) it holds for.
    double offsetAt(double udate) const;
    mutable double offset_ = 0.0, offsetFrom_ = 1.0, offsetUntil_ = 0.0;
};

}  // namespace numbrel
