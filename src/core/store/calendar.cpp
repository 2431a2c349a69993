#include "store/calendar.h"

#include <unicode/basictz.h>
#include <unicode/gregocal.h>
#include <unicode/timezone.h>
#include <unicode/tztrans.h>

#include <cmath>
#include <limits>

#include "plist/date_text.h"
#include "store/environment.h"

namespace numbrel {

namespace {

UDate toUDate(Date d) {
    return (d.seconds + kUnixToReferenceSeconds) * 1000.0;
}
Date fromUDate(UDate u) {
    return Date{u / 1000.0 - kUnixToReferenceSeconds};
}

}  // namespace

Calendar::Calendar(const Environment& env) : zone_(&env.timeZone()) {
    UErrorCode status = U_ZERO_ERROR;
    auto* gc = new icu::GregorianCalendar(env.timeZone(), env.locale(), status);
    // A pure Gregorian calendar for every date, as the document's dates are always Gregorian.
    gc->setGregorianChange(-std::numeric_limits<double>::infinity(), status);
    cal_.reset(gc);
}

Calendar::~Calendar() = default;

CalendarDate Calendar::components(Date date) const {
    UErrorCode status = U_ZERO_ERROR;
    cal_->setTime(toUDate(date), status);
    CalendarDate c;
    c.year = cal_->get(UCAL_EXTENDED_YEAR, status);
    c.month = cal_->get(UCAL_MONTH, status) + 1;
    c.day = cal_->get(UCAL_DATE, status);
    c.hour = cal_->get(UCAL_HOUR_OF_DAY, status);
    c.minute = cal_->get(UCAL_MINUTE, status);
    c.second = cal_->get(UCAL_SECOND, status);
    c.weekday = cal_->get(UCAL_DAY_OF_WEEK, status);
    int millis = cal_->get(UCAL_MILLISECONDS_IN_DAY, status);
    double wholeMillis = std::floor(toUDate(date));
    c.secondsIntoDay = millis / 1000.0 + (toUDate(date) - wholeMillis) / 1000.0;
    return c;
}

Date Calendar::date(int year, int month, int day, int hour, int minute, double second) const {
    UErrorCode status = U_ZERO_ERROR;
    cal_->clear();
    double whole = std::floor(second);
    cal_->set(UCAL_EXTENDED_YEAR, year);
    cal_->set(UCAL_MONTH, month - 1);
    cal_->set(UCAL_DATE, day);
    cal_->set(UCAL_HOUR_OF_DAY, hour);
    cal_->set(UCAL_MINUTE, minute);
    cal_->set(UCAL_SECOND, static_cast<int>(whole));
    UDate u = cal_->getTime(status);
    return Date{fromUDate(u).seconds + (second - whole)};
}

Date Calendar::addDays(Date date, int days) const {
    UErrorCode status = U_ZERO_ERROR;
    double fraction = date.seconds - std::floor(date.seconds);
    cal_->setTime(std::floor(date.seconds + kUnixToReferenceSeconds) * 1000.0, status);
    cal_->add(UCAL_DATE, days, status);
    return Date{fromUDate(cal_->getTime(status)).seconds + fraction};
}

Date Calendar::addMonths(Date date, int months) const {
    UErrorCode status = U_ZERO_ERROR;
    double fraction = date.seconds - std::floor(date.seconds);
    cal_->setTime(std::floor(date.seconds + kUnixToReferenceSeconds) * 1000.0, status);
    cal_->add(UCAL_MONTH, months, status);
    return Date{fromUDate(cal_->getTime(status)).seconds + fraction};
}

Date Calendar::startOfDay(Date date) const {
    CalendarDate c = components(date);
    return this->date(c.year, c.month, c.day);
}

Calendar::Month Calendar::monthOf(Date date) const {
    if (date >= lastMonth_.start && date < lastMonth_.next) return lastMonth_;
    CalendarDate c = components(date);
    Month m{c.year, c.month, this->date(c.year, c.month, 1), this->date(c.year, c.month + 1, 1)};
    lastMonth_ = m;
    return m;
}

Calendar::Day Calendar::dayFromNumber(std::int64_t dayNumber) {
    std::int64_t y;
    unsigned m, d;
    civilFromDays(dayNumber, y, m, d);
    Day day;
    day.year = static_cast<int>(y);
    day.month = static_cast<int>(m);
    day.day = static_cast<int>(d);
    day.dayNumber = dayNumber;
    std::int64_t w = (dayNumber + 4) % 7;  // 1970-01-01 was a Thursday
    day.weekday = static_cast<int>(w < 0 ? w + 7 : w) + 1;
    return day;
}

double Calendar::offsetAt(double udate) const {
    if (udate >= offsetFrom_ && udate < offsetUntil_) return offset_;
    UErrorCode status = U_ZERO_ERROR;
    int32_t raw = 0, dst = 0;
    zone_->getOffset(udate, false, raw, dst, status);
    offset_ = U_SUCCESS(status) ? (raw + dst) / 1000.0 : 0.0;
    // The offset holds until the zone's next transition: remember that window, so that walking
    // through years of readings asks the zone rules twice a year rather than once a reading.
    offsetFrom_ = offsetUntil_ = udate;
    if (const auto* rules = dynamic_cast<const icu::BasicTimeZone*>(zone_)) {
        icu::TimeZoneTransition transition;
        offsetFrom_ = rules->getPreviousTransition(udate, true, transition)
                          ? transition.getTime()
                          : -std::numeric_limits<double>::infinity();
        offsetUntil_ = rules->getNextTransition(udate, false, transition)
                           ? transition.getTime()
                           : std::numeric_limits<double>::infinity();
    }
    return offset_;
}

Calendar::Day Calendar::localDay(Date date) const {
    double local = date.seconds + kUnixToReferenceSeconds + offsetAt(toUDate(date));
    if (!std::isfinite(local) || std::abs(local) > 1e14) local = 0.0;  // no calendar for such dates
    auto dayNumber = static_cast<std::int64_t>(std::floor(local / 86400.0));
    Day day = dayFromNumber(dayNumber);
    day.secondsIntoDay = local - static_cast<double>(dayNumber) * 86400.0;
    return day;
}

}  // namespace numbrel
