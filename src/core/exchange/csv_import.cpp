#include "exchange/csv_import.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <deque>
#include <unordered_map>

#include <unicode/basictz.h>
#include <unicode/gregocal.h>
#include <unicode/smpdtfmt.h>

#include "plist/date_text.h"
#include "plist/utf.h"
#include "store/document.h"
#include "store/environment.h"
#include "ui/localize.h"

namespace numbrel {

namespace {

// The length of the line-end character at i, or 0: LF, VT, FF, CR, NEL, LINE and PARAGRAPH SEPARATOR.
std::size_t lineEndAt(std::string_view t, std::size_t i) {
    auto c = static_cast<unsigned char>(t[i]);
    if (c >= 0x0A && c <= 0x0D) return 1;
    if (c == 0xC2 && i + 1 < t.size() && static_cast<unsigned char>(t[i + 1]) == 0x85) return 2;
    if (c == 0xE2 && i + 2 < t.size() && static_cast<unsigned char>(t[i + 1]) == 0x80 &&
        (static_cast<unsigned char>(t[i + 2]) == 0xA8 || static_cast<unsigned char>(t[i + 2]) == 0xA9))
        return 3;
    return 0;
}

// Bytes that may begin a comma, a quote or a line end; the rest of the text is skipped in one pass.
constexpr auto kMaybeSpecial = [] {
    std::array<bool, 256> table{};
    for (unsigned char c : {',', '"', '\x0A', '\x0B', '\x0C', '\x0D', '\xC2', '\xE2'})
        table[c] = true;
    return table;
}();

bool special(std::string_view t, std::size_t i) {
    return kMaybeSpecial[static_cast<unsigned char>(t[i])] &&
           (t[i] == ',' || t[i] == '"' || lineEndAt(t, i) != 0);
}

// The index of the first comma, quote or line end at or after i, or the text's size. Eight bytes
// are looked at a time: a word with none of ',' '"', no byte below 0x0E and no byte from 0x80 up
// cannot hold one (the word tests flag the first such byte exactly; bytes after it may be flagged
// wrongly, and the first flagged byte is then checked by itself).
std::size_t nextSpecial(std::string_view t, std::size_t i) {
    constexpr std::uint64_t kOnes = 0x0101010101010101ull, kHigh = 0x8080808080808080ull;
    auto zeroByte = [](std::uint64_t x) { return (x - kOnes) & ~x & kHigh; };
    const std::size_t n = t.size();
    while (i + 8 <= n) {
        std::uint64_t w;
        std::memcpy(&w, t.data() + i, 8);
        if constexpr (std::endian::native == std::endian::big) w = __builtin_bswap64(w);
        const std::uint64_t flagged = zeroByte(w ^ (kOnes * ',')) | zeroByte(w ^ (kOnes * '"')) |
                                      ((w - kOnes * 0x0E) & ~w & kHigh) | (w & kHigh);
        if (flagged == 0) {
            i += 8;
            continue;
        }
        i += static_cast<std::size_t>(std::countr_zero(flagged)) / 8;
        if (special(t, i)) return i;
        ++i;
    }
    while (i < n && !special(t, i))
        ++i;
    return i;
}

// A field under construction: a slice of the text while its pieces lie side by side there (almost
// always), else its own copy.
class Field {
public:
    explicit Field(std::string_view text) : text_(text) {}
    void append(std::size_t from, std::size_t to) {
        if (from == to) return;
        if (!copied_ && (end_ == begin_ || end_ == from)) {
            if (end_ == begin_) begin_ = from;
            end_ = to;
            return;
        }
        if (!copied_) {
            copy_.assign(text_.substr(begin_, end_ - begin_));
            copied_ = true;
        }
        copy_.append(text_.substr(from, to - from));
    }
    std::size_t size() const { return copied_ ? copy_.size() : end_ - begin_; }
    bool empty() const { return size() == 0; }
    // The field's text, kept in owned when it is a copy, until owned is cleared.
    std::string_view take(std::deque<std::string>& owned) {
        std::string_view out = text_.substr(begin_, end_ - begin_);
        if (copied_) out = owned.emplace_back(std::move(copy_));
        reset();
        return out;
    }
    void reset() {
        begin_ = end_ = 0;
        copied_ = false;
        copy_.clear();
    }

private:
    std::string_view text_;
    std::size_t begin_ = 0, end_ = 0;
    bool copied_ = false;
    std::string copy_;
};

// Reads "only a leading number" as the locale reads it: spaces, a sign, digits with the locale's
// decimal separator, an exponent.
std::optional<double> leadingNumber(std::string_view s, std::string_view separator) {
    auto digitAt = [&](std::size_t k) { return k < s.size() && s[k] >= '0' && s[k] <= '9'; };
    std::size_t i = 0;
    while (i < s.size() && (s[i] == ' ' || s[i] == '\t'))
        ++i;
    const bool negative = i < s.size() && s[i] == '-';
    if (i < s.size() && (s[i] == '-' || s[i] == '+')) ++i;
    const std::size_t start = i;
    while (digitAt(i))
        ++i;
    std::size_t digits = i - start, point = std::string_view::npos;
    if (!separator.empty() && s.substr(i, separator.size()) == separator) {
        std::size_t after = i + separator.size(), j = after;
        while (digitAt(j))
            ++j;
        if (digits > 0 || j > after) {
            point = i;
            digits += j - after;
            i = j;
        }
    }
    if (digits == 0) return std::nullopt;
    if (i < s.size() && (s[i] == 'e' || s[i] == 'E')) {
        std::size_t j = i + 1;
        if (j < s.size() && (s[j] == '-' || s[j] == '+')) ++j;
        if (digitAt(j)) {
            while (digitAt(j))
                ++j;
            i = j;
        }
    }
    // The number's text as from_chars reads it: the separator as a point.
    std::string_view number = s.substr(start, i - start);
    std::string plain;
    if (point != std::string_view::npos && separator != ".") {
        plain.assign(s.substr(start, point - start));
        plain += '.';
        plain.append(s.substr(point + separator.size(), i - point - separator.size()));
        number = plain;
    }
    // Up to 15 digits without an exponent: the digits as an integer divided by a power of ten, both
    // exact, gives the correctly rounded double that from_chars gives, only sooner.
    if (digits <= 15 && i - start == digits + (point != std::string_view::npos ? separator.size() : 0)) {
        std::uint64_t mantissa = 0;
        int decimals = 0;
        bool fraction = false;
        for (std::size_t k = start; k < i; ++k) {
            if (s[k] >= '0' && s[k] <= '9') {
                mantissa = mantissa * 10 + static_cast<std::uint64_t>(s[k] - '0');
                decimals += fraction;
            } else {
                fraction = true;
                k += separator.size() - 1;
            }
        }
        static constexpr double kPowers[16] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                               1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
        double v = static_cast<double>(mantissa);
        if (decimals > 0) v /= kPowers[decimals];
        return negative ? -v : v;
    }
    double v = 0;
    auto [end, ec] = std::from_chars(number.data(), number.data() + number.size(), v);
    if (ec != std::errc() || !std::isfinite(v)) return std::nullopt;
    return negative ? -v : v;
}

// Plist dates count from 2001-01-01; ICU's from 1970-01-01, in milliseconds.
constexpr double kEpochDifference = 978307200.0;

}  // namespace

std::optional<std::string_view> decodeCsvText(std::string_view bytes, std::string& storage) {
    if (bytes.size() >= 2) {
        auto b0 = static_cast<unsigned char>(bytes[0]), b1 = static_cast<unsigned char>(bytes[1]);
        if ((b0 == 0xFF && b1 == 0xFE) || (b0 == 0xFE && b1 == 0xFF)) {
            if (bytes.size() % 2 != 0) return std::nullopt;
            bool little = b0 == 0xFF;
            std::u16string units;
            units.reserve(bytes.size() / 2 - 1);
            for (std::size_t i = 2; i + 1 < bytes.size(); i += 2) {
                auto lo = static_cast<unsigned char>(bytes[little ? i : i + 1]);
                auto hi = static_cast<unsigned char>(bytes[little ? i + 1 : i]);
                units.push_back(static_cast<char16_t>(hi << 8 | lo));
            }
            storage = utf16ToUtf8(units);
            return std::string_view(storage);
        }
    }
    if (bytes.size() >= 3 && bytes.substr(0, 3) == "\xEF\xBB\xBF") bytes.remove_prefix(3);
    if (!validUtf8(bytes)) return std::nullopt;
    return bytes;
}

CsvStop tokenizeCsv(std::string_view text,
                    const std::function<bool(std::vector<std::string_view>& fields)>& line,
                    std::size_t* resumeAt) {
    std::vector<std::string_view> fields;
    std::deque<std::string> owned;  // the fields that are not slices of the text
    Field field(text);
    bool quoted = false;
    std::size_t i = 0, lineStart = 0;
    const std::size_t n = text.size();
    auto endField = [&] { fields.push_back(field.take(owned)); };
    while (i < n) {
        std::size_t run = i;
        i = nextSpecial(text, i);
        field.append(run, i);
        if (field.size() > kMaxCsvFieldBytes) return CsvStop::FieldTooLong;
        if (i - lineStart > kMaxCsvLineBytes) return CsvStop::LineTooLong;
        if (i >= n) break;
        if (text[i] == '"') {
            if (quoted && i + 1 < n && text[i + 1] == '"') {
                field.append(i + 1, i + 2);  // a doubled quote inside quotes is one quote
                i += 2;
            } else {
                quoted = !quoted;
                ++i;
            }
        } else if (text[i] == ',') {
            if (quoted) {
                field.append(i, i + 1);
                ++i;
            } else {
                endField();
                ++i;
                while (i < n && (text[i] == ' ' || text[i] == '\t'))
                    ++i;
            }
        } else {
            std::size_t runStart = i;
            while (i < n) {
                std::size_t len = lineEndAt(text, i);
                if (len == 0) break;
                i += len;
            }
            if (quoted) {
                field.append(runStart, i);
            } else {
                if (!field.empty()) endField();
                if (!line(fields)) {
                    if (resumeAt) *resumeAt = i;
                    return CsvStop::Stopped;
                }
                fields.clear();
                owned.clear();
                lineStart = i;
            }
        }
    }
    if (i > lineStart || !fields.empty() || !field.empty()) {
        if (!field.empty()) endField();
        if (!line(fields)) {
            if (resumeAt) *resumeAt = n;
            return CsvStop::Stopped;
        }
    }
    return CsvStop::End;
}

struct CsvDateReader::Impl {
    explicit Impl(const Environment& e) : env(e) {
        UErrorCode status = U_ZERO_ERROR;
        calendar = std::make_unique<icu::GregorianCalendar>(env.timeZone(), env.locale(), status);
        calendar->setLenient(false);
        const char16_t* patterns[3] = {u"dd/MM/yyyy HH:mm:ss", u"dd/MM/yyyy HH:mm", u"dd/MM/yyyy"};
        for (int k = 0; k < 3; ++k) {
            UErrorCode s = U_ZERO_ERROR;
            formats[k] =
                std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString(patterns[k]), env.locale(), s);
            if (U_FAILURE(s)) {
                formats[k].reset();
                continue;
            }
            formats[k]->adoptCalendar(calendar->clone());
            formats[k]->setTimeZone(env.timeZone());
        }
        zone = dynamic_cast<const icu::BasicTimeZone*>(&env.timeZone());
    }

    // The instant of a local wall-clock time by the non-lenient calendar: nothing for a date that
    // does not exist or a time the clocks skip.
    std::optional<Date> wallClock(int y, int mo, int d, int h, int mi, int s) {
        calendar->clear();
        calendar->set(y, mo - 1, d, h, mi, s);
        UErrorCode status = U_ZERO_ERROR;
        UDate ms = calendar->getTime(status);
        if (U_FAILURE(status)) return std::nullopt;
        return Date{ms / 1000.0 - kEpochDifference};
    }

    // Whether the zone's offset holds from one local midnight to another `days` days on.
    bool steady(const std::optional<Date>& from, const std::optional<Date>& to, int days) const {
        if (!from || !to || to->seconds - from->seconds != days * 86400.0 || !zone) return false;
        icu::TimeZoneTransition tr;
        return !(zone->getNextTransition((from->seconds + kEpochDifference) * 1000.0, true, tr) &&
                 tr.getTime() <= (to->seconds + kEpochDifference) * 1000.0);
    }

    // Local midnight of a day, when nothing changes the clocks between it and the next midnight;
    // found by the month (most months have no change), else by the day.
    std::optional<double> steadyMidnight(int y, int mo, int d) {
        if (y * 12 + mo == lastMonth) return lastStart + (d - 1) * 86400.0;  // rows come in runs
        auto month = months.find(y * 12 + mo);
        if (month == months.end()) {
            std::optional<Date> first = wallClock(y, mo, 1, 0, 0, 0);
            std::optional<Date> next =
                mo == 12 ? wallClock(y + 1, 1, 1, 0, 0, 0) : wallClock(y, mo + 1, 1, 0, 0, 0);
            std::optional<double> start;
            if (steady(first, next, daysInMonth(y, mo))) start = first->seconds;
            month = months.emplace(y * 12 + mo, start).first;
        }
        if (month->second) {
            lastMonth = y * 12 + mo;
            lastStart = *month->second;
            return *month->second + (d - 1) * 86400.0;
        }
        const int key = (y * 12 + mo) * 32 + d;
        if (key == lastDay) return lastMidnight;
        auto day = days.find(key);
        if (day == days.end()) {
            std::optional<Date> midnight = wallClock(y, mo, d, 0, 0, 0);
            std::optional<Date> next = d < daysInMonth(y, mo) ? wallClock(y, mo, d + 1, 0, 0, 0)
                                       : mo == 12             ? wallClock(y + 1, 1, 1, 0, 0, 0)
                                                              : wallClock(y, mo + 1, 1, 0, 0, 0);
            std::optional<double> start;
            if (steady(midnight, next, 1)) start = midnight->seconds;
            day = days.emplace(key, start).first;
        }
        lastDay = key;
        lastMidnight = day->second;
        return day->second;
    }

    const Environment& env;
    std::unique_ptr<icu::GregorianCalendar> calendar;
    std::unique_ptr<icu::SimpleDateFormat> formats[3];
    const icu::BasicTimeZone* zone = nullptr;
    std::unordered_map<int, std::optional<double>> months, days;
    int lastMonth = -1;  // the last steady month asked for, and its first midnight
    double lastStart = 0;
    int lastDay = -1;  // the same for the last day of a month with a clock change
    std::optional<double> lastMidnight;
};

CsvDateReader::CsvDateReader(const Environment& env) : impl_(std::make_unique<Impl>(env)) {}
CsvDateReader::~CsvDateReader() = default;

std::optional<Date> CsvDateReader::readSlowly(std::string_view text, Format format) {
    icu::SimpleDateFormat* f = impl_->formats[format].get();
    if (!f) return std::nullopt;
    icu::UnicodeString u =
        icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
    icu::Calendar& cal = *impl_->calendar;
    cal.clear();
    icu::ParsePosition pos(0);
    f->parse(u, cal, pos);
    if (pos.getErrorIndex() >= 0 || pos.getIndex() != u.length())
        return std::nullopt;  // all of it, or nothing
    UErrorCode status = U_ZERO_ERROR;
    UDate ms = cal.getTime(status);  // the non-lenient calendar refuses 31/02 and skipped times here
    if (U_FAILURE(status)) return std::nullopt;
    if (cal.get(UCAL_ERA, status) != icu::GregorianCalendar::AD || cal.get(UCAL_YEAR, status) < 1000 ||
        U_FAILURE(status))
        return std::nullopt;  // "05/03/24" is the year 24, not 2024
    return Date{ms / 1000.0 - kEpochDifference};
}

std::optional<Date> CsvDateReader::read(std::string_view text, Format format) {
    // The fast path takes exactly the plain shape of the format, two digits a field and four for the
    // year, in a month without a clock change; everything else goes to the locale's parser.
    static constexpr std::size_t kLength[3] = {19, 16, 10};
    if (text.size() == kLength[format]) {
        auto digit = [&](std::size_t k) { return text[k] >= '0' && text[k] <= '9'; };
        auto number = [&](std::size_t k, std::size_t len) {
            int v = 0;
            for (std::size_t j = k; j < k + len; ++j)
                v = v * 10 + (text[j] - '0');
            return v;
        };
        bool shape = text[2] == '/' && text[5] == '/';
        for (std::size_t k : {0u, 1u, 3u, 4u, 6u, 7u, 8u, 9u})
            shape = shape && digit(k);
        if (format != DateOnly) {
            shape = shape && text[10] == ' ' && text[13] == ':' && digit(11) && digit(12) && digit(14) &&
                    digit(15);
            if (format == Seconds) shape = shape && text[16] == ':' && digit(17) && digit(18);
        }
        if (shape) {
            int d = number(0, 2), mo = number(3, 2), y = number(6, 4);
            int h = format == DateOnly ? 0 : number(11, 2), mi = format == DateOnly ? 0 : number(14, 2);
            int s = format == Seconds ? number(17, 2) : 0;
            if (y < 1000 || mo < 1 || mo > 12 || d < 1 || d > daysInMonth(y, mo) || h > 23 || mi > 59 ||
                s > 59)
                return std::nullopt;
            if (std::optional<double> midnight = impl_->steadyMidnight(y, mo, d))
                return Date{*midnight + h * 3600.0 + mi * 60.0 + s};
            return impl_->wallClock(y, mo, d, h, mi, s);
        }
    }
    return readSlowly(text, format);
}

Alert CsvVerification::alert(int tag) const {
    switch (outcome) {
        case Outcome::Corrupt:
            return Alert{tag, tr("CSV File Corrupt"), message, {tr("OK")}};
        case Outcome::Empty:
            return Alert{tag, tr("CSV File Empty?"), "", {tr("OK")}};
        case Outcome::Cancelled:
            return Alert{tag, tr("CSV Import"), tr("The import was cancelled"), {tr("OK")}};
        case Outcome::Verified:
            break;
    }
    std::size_t n = rows.size();
    return Alert{tag,
                 tr("CSV File Verified"),
                 // "%lu reading%s" in English; whole texts, as other languages do not add a letter.
                 n == 1 ? tr("1 reading") : fill(tr("%lu readings"), {std::to_string(n)}),
                 {tr("Cancel"), tr("Import")}};
}

namespace {

using MeterNames = std::unordered_map<std::string_view, int>;  // the first meter of each name

// Verifies the lines of a file in order: the rows it accepts go to rows, and at the first bad line it
// keeps the message's pattern and how many rows it had accepted by then.
class RowVerifier {
public:
    RowVerifier(const MeterNames& meters, const Environment& env, std::string_view separator,
                std::vector<ImportRow>& rows)
        : meters_(meters), dates_(env), separator_(separator), rows_(rows) {}

    // The tokenizer's line handler: false at a bad line.
    bool line(std::vector<std::string_view>& f) {
        // Empty columns after the fifth are ignored.
        while (f.size() >= 6 && f[5].empty())
            f.erase(f.begin() + 5);
        if (f.size() != 5) return stop("Row %lu, incorrect column count (should be 5)");
        if (std::all_of(f.begin(), f.end(), [](std::string_view s) { return s.empty(); })) return true;
        std::optional<Date> date = dates_.read(f[1], format_);
        if (!date && rows_.empty()) {
            // Until a row is accepted, a failing format gives way to the shorter ones, and the last
            // one tried stays.
            format_ = CsvDateReader::Minutes;
            date = dates_.read(f[1], format_);
            if (!date) {
                format_ = CsvDateReader::DateOnly;
                date = dates_.read(f[1], format_);
            }
        }
        if (!date) {
            if (first_) {
                first_ = false;
                return true;  // the header line
            }
            return stop("Row %lu, invalid date format");
        }
        first_ = false;
        ImportRow row;
        row.date = *date;
        static const char* const kInvalid[3] = {N_("Row %lu, invalid reading 1"),
                                                N_("Row %lu, invalid reading 2"),
                                                N_("Row %lu, invalid reading 3")};
        for (int k = 0; k < 3; ++k) {
            std::string_view field = f[static_cast<std::size_t>(k + 2)];
            std::optional<double> v = field.empty() ? std::nullopt : leadingNumber(field, separator_);
            if (!v) return stop(kInvalid[k]);
            row.reading[k] = *v;
        }
        if (lastMeter_ < 0 || f[0] != lastName_) {  // rows of one meter follow each other
            auto meter = meters_.find(f[0]);
            if (meter == meters_.end()) return stop("Row %lu, meter not found");
            lastMeter_ = meter->second;
            lastName_ = meter->first;
        }
        row.meter = lastMeter_;
        rows_.push_back(row);
        return true;
    }

    // Records how the tokenizer ended: a field or a line over the limits is the bad line.
    void ended(CsvStop end) {
        if (end == CsvStop::FieldTooLong) stop("Row %lu, a field is longer than 64 KB");
        if (end == CsvStop::LineTooLong) stop("Row %lu, a line is longer than 1 MB");
    }

    bool failed() const { return error_ != nullptr; }
    // The message of the bad line: its row number counts the rows accepted before it.
    std::string message() const { return fill(tr(error_), {std::to_string(errorRows_ + 1)}); }

private:
    bool stop(const char* pattern) {
        if (!error_) {
            error_ = pattern;
            errorRows_ = rows_.size();
        }
        return false;
    }

    const MeterNames& meters_;
    CsvDateReader dates_;
    std::string_view separator_;
    std::vector<ImportRow>& rows_;
    CsvDateReader::Format format_ = CsvDateReader::Seconds;
    bool first_ = true;  // the first line that is not empty may be a header
    std::string_view lastName_;
    int lastMeter_ = -1;
    const char* error_ = nullptr;
    std::size_t errorRows_ = 0;
};

}  // namespace

CsvVerification verifyCsv(std::string_view bytes, const Value& document, const Environment& env,
                          const std::string& decimalSeparator, const Progress& progress) {
    CsvVerification out;
    std::string storage;
    std::optional<std::string_view> text = decodeCsvText(bytes, storage);
    if (!text) return out;  // "CSV File Empty?"

    MeterNames meters;
    if (const Array* list = metersOf(document)) {
        for (std::size_t i = 0; i < list->size(); ++i) {
            const Value* name = (*list)[i].find("name");
            if (name && name->isString()) meters.try_emplace(name->string(), static_cast<int>(i));
        }
    }
    out.rows.reserve(std::min<std::size_t>(text->size() / 40, std::size_t{1} << 20));  // about 40 bytes a row

    RowVerifier verifier(meters, env, decimalSeparator, out.rows);
    bool cancelled = false;
    std::size_t lines = 0;
    const char* const start = text->data();
    CsvStop end = tokenizeCsv(*text, [&](std::vector<std::string_view>& fields) {
        // Now and then (every 64 Ki lines) how far it has come, by the bytes behind it.
        if (progress && (++lines & 0xFFFF) == 0 && !fields.empty()) {
            double done =
                static_cast<double>(fields.front().data() - start) / static_cast<double>(text->size());
            if (!progress(std::clamp(done, 0.0, 1.0))) {
                cancelled = true;
                return false;
            }
        }
        return verifier.line(fields);
    });
    verifier.ended(end);
    if (cancelled) {
        out.outcome = CsvVerification::Outcome::Cancelled;
        out.rows.clear();
        return out;
    }
    if (verifier.failed()) {
        out.outcome = CsvVerification::Outcome::Corrupt;
        out.message = verifier.message();
        out.rows.clear();
        return out;
    }
    out.outcome = out.rows.empty() ? CsvVerification::Outcome::Empty : CsvVerification::Outcome::Verified;
    return out;
}

void mergeRows(Value& document, const std::vector<ImportRow>& rows) {
    Array* list = metersOf(document);
    if (!list) return;
    // Rows by meter, newest first; of rows with the same date the last in the file wins, as if each
    // had been merged in turn.
    std::vector<std::vector<const ImportRow*>> byMeter(list->size());
    for (const ImportRow& r : rows)
        if (r.meter >= 0 && r.meter < static_cast<int>(list->size()))
            byMeter[static_cast<std::size_t>(r.meter)].push_back(&r);
    const Key dateKey("date"), readingKey("reading");
    for (std::size_t m = 0; m < byMeter.size(); ++m) {
        std::vector<const ImportRow*>& incoming = byMeter[m];
        if (incoming.empty()) continue;
        // Files are usually in date order, oldest or newest first: then no sort is needed.
        auto newer = [](const ImportRow* a, const ImportRow* b) { return a->date > b->date; };
        if (std::adjacent_find(incoming.begin(), incoming.end(), [](const ImportRow* a, const ImportRow* b) {
                return !(a->date < b->date);
            }) == incoming.end()) {
            std::reverse(incoming.begin(), incoming.end());  // strictly oldest first
        } else if (!std::is_sorted(incoming.begin(), incoming.end(), newer)) {
            std::stable_sort(incoming.begin(), incoming.end(), newer);
        }
        Value& meter = (*list)[m];
        Value* readingsValue = meter.find("readings");
        if (!readingsValue || !readingsValue->isArray())
            readingsValue = &meter.set("readings", Value::emptyArray());
        Array& existing = readingsValue->array();
        auto dateOf = [&](const Value& r) {
            const Value* d = r.find(dateKey);
            return d && d->isDate() ? d->date().seconds : -INFINITY;
        };
        auto values = [](const ImportRow& r) {
            Array three;
            three.reserve(3);
            for (double v : r.reading)
                three.emplace_back(v);
            return Value(std::move(three));
        };
        // The new readings are first left as places in merged, noted in fresh (their rows, compacted
        // into incoming, in the same order), and made afterwards.
        Array merged;
        merged.reserve(existing.size() + incoming.size());
        std::vector<std::uint32_t> fresh;
        fresh.reserve(incoming.size());
        std::size_t e = 0;
        for (std::size_t k = 0; k < incoming.size(); ++k) {
            // The last row of a run of equal dates is the one that stays.
            if (k + 1 < incoming.size() && incoming[k + 1]->date == incoming[k]->date) continue;
            const ImportRow& row = *incoming[k];
            const double d = row.date.seconds;
            while (e < existing.size() && dateOf(existing[e]) > d)
                merged.push_back(std::move(existing[e++]));
            if (e < existing.size() && dateOf(existing[e]) == d) {
                // The last reading of that date takes the row's values.
                while (e + 1 < existing.size() && dateOf(existing[e + 1]) == d)
                    merged.push_back(std::move(existing[e++]));
                Value& same = existing[e];
                if (same.isDictionary()) {
                    Value* old = same.find(readingKey);
                    if (old && old->isArray() && old->array().size() >= 3) {
                        for (int j = 0; j < 3; ++j)
                            old->array()[static_cast<std::size_t>(j)] = Value(row.reading[j]);
                    } else {
                        same.set("reading", values(row));
                    }
                }
                merged.push_back(std::move(existing[e++]));
            } else {
                incoming[fresh.size()] = &row;  // never past k
                fresh.push_back(static_cast<std::uint32_t>(merged.size()));
                merged.emplace_back();
            }
        }
        while (e < existing.size())
            merged.push_back(std::move(existing[e++]));
        auto make = [&](std::size_t from, std::size_t to) {
            for (std::size_t j = from; j < to; ++j) {
                const ImportRow& row = *incoming[j];
                Value::Dictionary reading;
                reading.reserve(2);
                reading.push_back(Value::Entry{dateKey, Value(row.date)});  // keys in order
                reading.push_back(Value::Entry{readingKey, values(row)});
                merged[fresh[j]] = Value(std::move(reading));
            }
        };
        make(0, fresh.size());
        existing = std::move(merged);
    }
}

}  // namespace numbrel
