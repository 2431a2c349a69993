// Dates as ISO 8601 text, without a calendar library: UTC output, and input with an offset or Z.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "plist/value.h"

namespace numbrel {

// Seconds between 1970-01-01 and 2001-01-01 (the property-list epoch).
inline constexpr double kUnixToReferenceSeconds = 978307200.0;

// Days since 1970-01-01 of a proleptic Gregorian date, and back.
std::int64_t daysFromCivil(std::int64_t year, unsigned month, unsigned day);
void civilFromDays(std::int64_t days, std::int64_t& year, unsigned& month, unsigned& day);
// The number of days of a month (1 to 12) of a proleptic Gregorian year.
int daysInMonth(std::int64_t year, int month);

// "2014-03-05T07:15:02.500Z" (milliseconds always written).
std::string formatIso8601(Date date);

// Accepts "YYYY-MM-DDTHH:MM[:SS[.fff]]" followed by "Z" or "+HH:MM" / "-HH:MM" (or "+HHMM"); a date
// or time that does not exist (30 February, 24:00, a 60th second, an offset past 23:59) is refused.
std::optional<Date> parseIso8601(std::string_view text);

}  // namespace numbrel
