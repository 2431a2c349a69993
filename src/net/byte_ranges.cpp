#include "byte_ranges.h"

#include <optional>

namespace numbrel::net {

namespace {

void skipSpaces(std::string_view& s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t'))
        s.remove_prefix(1);
}

// Decimal digits at the front, or nullopt when there are none or they overflow.
std::optional<std::uint64_t> number(std::string_view& s) {
    if (s.empty() || s.front() < '0' || s.front() > '9') return std::nullopt;
    std::uint64_t n = 0;
    while (!s.empty() && s.front() >= '0' && s.front() <= '9') {
        const std::uint64_t digit = static_cast<std::uint64_t>(s.front() - '0');
        if (n > (UINT64_MAX - digit) / 10) return std::nullopt;
        n = n * 10 + digit;
        s.remove_prefix(1);
    }
    return n;
}

bool unitIsBytes(std::string_view& s) {
    static constexpr std::string_view kUnit = "bytes";
    if (s.size() < kUnit.size()) return false;
    for (std::size_t i = 0; i < kUnit.size(); ++i)
        if ((s[i] | 0x20) != kUnit[i]) return false;
    s.remove_prefix(kUnit.size());
    skipSpaces(s);
    if (s.empty() || s.front() != '=') return false;
    s.remove_prefix(1);
    return true;
}

}  // namespace

RangeAnswer parseRange(std::string_view header, std::uint64_t length, std::size_t maxRanges) {
    RangeAnswer whole;
    std::string_view s = header;
    skipSpaces(s);
    if (!unitIsBytes(s)) return whole;

    RangeAnswer answer;
    answer.kind = RangeAnswer::Kind::Partial;
    std::uint64_t total = 0;
    std::size_t asked = 0;  // ranges in the header, satisfiable or not
    bool any = false;
    for (;;) {
        skipSpaces(s);
        if (!s.empty() && s.front() == ',') {  // empty list elements are allowed
            s.remove_prefix(1);
            continue;
        }
        if (s.empty()) break;
        if (++asked > maxRanges) return whole;
        std::optional<std::uint64_t> first, last;
        bool suffix = false;
        if (s.front() == '-') {
            suffix = true;
            s.remove_prefix(1);
            last = number(s);
            if (!last) return whole;
        } else {
            first = number(s);
            if (!first) return whole;
            skipSpaces(s);
            if (s.empty() || s.front() != '-') return whole;
            s.remove_prefix(1);
            skipSpaces(s);
            if (!s.empty() && s.front() >= '0' && s.front() <= '9') {
                last = number(s);
                if (!last) return whole;
                if (*last < *first) return whole;  // an end before its start makes the whole header invalid
            }
        }
        skipSpaces(s);
        if (!s.empty() && s.front() != ',') return whole;
        any = true;

        ByteRange r;
        if (suffix) {
            if (*last == 0) continue;  // "-0" asks for nothing
            r.first = *last < length ? length - *last : 0;
            r.last = length == 0 ? 0 : length - 1;
            if (length == 0) return whole;  // an empty file is sent whole, as nginx does
        } else {
            if (*first >= length) {
                if (*first == 0) return whole;
                continue;  // starts past the end: not satisfiable on its own
            }
            r.first = *first;
            r.last = last && *last < length ? *last : length - 1;
        }
        total += r.size();
        answer.ranges.push_back(r);
    }
    if (!any) return whole;
    if (answer.ranges.empty()) return RangeAnswer{RangeAnswer::Kind::Unsatisfiable, {}};
    // Asking for more than the file (overlaps, repeats) is not worth pieces: the whole file is cheaper.
    if (answer.ranges.size() > 1 && total > length) return whole;
    return answer;
}

}  // namespace numbrel::net
