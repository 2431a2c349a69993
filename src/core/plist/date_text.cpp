#include "plist/date_text.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>

namespace numbrel {

namespace {

bool number(std::string_view s, std::size_t pos, std::size_t len, int& out) {
    if (pos + len > s.size()) return false;
    for (std::size_t i = pos; i < pos + len; ++i)
        if (s[i] < '0' || s[i] > '9') return false;
    std::from_chars(s.data() + pos, s.data() + pos + len, out);
    return true;
}

}  // namespace

// Days since 1970-01-01 of a proleptic Gregorian date (H. Hinnant's algorithm).
std::int64_t daysFromCivil(std::int64_t y, unsigned m, unsigned d) {
    y -= m <= 2;
    const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
    const auto yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

void civilFromDays(std::int64_t z, std::int64_t& y, unsigned& m, unsigned& d) {
    z += 719468;
    const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const auto doe = static_cast<unsigned>(z - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    y = static_cast<std::int64_t>(yoe) + era * 400;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    d = doy - (153 * mp + 2) / 5 + 1;
    m = mp < 10 ? mp + 3 : mp - 9;
    y += m <= 2;
}

int daysInMonth(std::int64_t year, int month) {
    static const int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return month == 2 && leap ? 29 : kDays[month - 1];
}

std::string formatIso8601(Date date) {
    double unix = date.seconds + kUnixToReferenceSeconds;
    if (!std::isfinite(unix)) return "invalid";
    auto millis = static_cast<std::int64_t>(std::llround(unix * 1000.0));
    std::int64_t secs = millis >= 0 ? millis / 1000 : -((-millis + 999) / 1000);
    auto ms = static_cast<int>(millis - secs * 1000);
    std::int64_t days = secs >= 0 ? secs / 86400 : -((-secs + 86399) / 86400);
    auto sod = static_cast<int>(secs - days * 86400);
    std::int64_t y;
    unsigned m, d;
    civilFromDays(days, y, m, d);
    char buf[64];
    std::snprintf(buf, sizeof buf, "%04lld-%02u-%02uT%02d:%02d:%02d.%03dZ", static_cast<long long>(y), m, d,
                  sod / 3600, sod / 60 % 60, sod % 60, ms);
    return buf;
}

std::optional<Date> parseIso8601(std::string_view s) {
    int y, mo, d, h, mi, sec = 0;
    if (!number(s, 0, 4, y) || s.size() < 16 || s[4] != '-' || !number(s, 5, 2, mo) || s[7] != '-' ||
        !number(s, 8, 2, d) || (s[10] != 'T' && s[10] != ' ') || !number(s, 11, 2, h) || s[13] != ':' ||
        !number(s, 14, 2, mi))
        return std::nullopt;
    std::size_t pos = 16;
    double fraction = 0.0;
    if (pos < s.size() && s[pos] == ':') {
        if (!number(s, pos + 1, 2, sec)) return std::nullopt;
        pos += 3;
        if (pos < s.size() && (s[pos] == '.' || s[pos] == ',')) {
            std::size_t start = ++pos;
            while (pos < s.size() && s[pos] >= '0' && s[pos] <= '9')
                ++pos;
            if (pos == start) return std::nullopt;
            std::string digits = "0." + std::string(s.substr(start, pos - start));
            fraction = std::strtod(digits.c_str(), nullptr);
        }
    }
    if (mo < 1 || mo > 12 || d < 1 || d > daysInMonth(y, mo) || h > 23 || mi > 59 || sec > 59)
        return std::nullopt;
    int offset = 0;
    if (pos < s.size() && s[pos] == 'Z') {
        ++pos;
    } else if (pos < s.size() && (s[pos] == '+' || s[pos] == '-')) {
        int oh, om;
        int sign = s[pos] == '-' ? -1 : 1;
        if (!number(s, pos + 1, 2, oh)) return std::nullopt;
        std::size_t mpos = pos + 3;
        if (mpos < s.size() && s[mpos] == ':') ++mpos;
        if (!number(s, mpos, 2, om)) return std::nullopt;
        pos = mpos + 2;
        if (oh > 23 || om > 59) return std::nullopt;
        offset = sign * (oh * 3600 + om * 60);
    } else {
        return std::nullopt;  // an offset is required: local time would depend on the machine
    }
    if (pos != s.size()) return std::nullopt;
    std::int64_t days = daysFromCivil(y, static_cast<unsigned>(mo), static_cast<unsigned>(d));
    double unix = static_cast<double>(days) * 86400.0 + h * 3600.0 + mi * 60.0 + sec + fraction - offset;
    return Date{unix - kUnixToReferenceSeconds};
}

}  // namespace numbrel
