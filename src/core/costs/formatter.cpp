#include "costs/formatter.h"

#include <unicode/datefmt.h>
#include <unicode/dcfmtsym.h>
#include <unicode/numberformatter.h>
#include <unicode/numsys.h>
#include <unicode/timezone.h>
#include <unicode/ucurr.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <unordered_map>

#include "store/environment.h"

namespace numbrel {

std::string printfFixed(double value, int decimals) {
    char buf[400];  // the largest double has 309 whole digits
    auto [end, ec] =
        std::to_chars(buf, buf + sizeof buf, value, std::chars_format::fixed, std::clamp(decimals, 0, 20));
    return ec == std::errc() ? std::string(buf, end) : std::string("0");
}

namespace nf = icu::number;

namespace {

int clampDigits(std::int64_t n) {
    return static_cast<int>(std::clamp<std::int64_t>(n, 0, 30));
}

bool isCurrencyCode(std::string_view code) {
    return code.size() == 3 &&
           std::all_of(code.begin(), code.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
}

}  // namespace

// Formatters by what they format ("cost GBP", "reading 5 1" ...), built once: building one costs far
// more than using it, and list screens format thousands of values.
struct Split {
    enum State { Unknown, Checking, On, Off } state = Unknown;
    std::unique_ptr<icu::DateFormat> date, time;
    std::string glue;
    bool timeFirst = false;
    int checks = 0;
    std::unordered_map<std::int64_t, std::string> days;  // by local day
    std::unordered_map<int, std::string> times;          // by local second of the day
};

struct Formatter::Cache {
    nf::LocalizedNumberFormatter base;
    std::map<std::string, nf::LocalizedNumberFormatter, std::less<>> formatters;
    std::map<int, std::unique_ptr<icu::DateFormat>> dates;
    // Date-and-time formatting by parts, per style.
    std::map<int, Split> splits;
    std::unique_ptr<icu::TimeZone> zone;
    icu::Locale locale;
};

Formatter::Formatter(const Environment& env) : cache_(std::make_unique<Cache>()) {
    cache_->zone.reset(env.timeZone().clone());
    cache_->locale = env.locale();
    // ICU's own rounding, as the platform formatter rounds: half to even on the shortest decimal
    // form of the double (123.45 on a one-decimal dial shows 123.4, 296.15 shows 296.2). No
    // thousands separators.
    cache_->base = nf::NumberFormatter::withLocale(env.locale()).grouping(UNUM_GROUPING_OFF);

    // The fast path for plain decimals, where the locale writes Latin digits and it gives exactly
    // what ICU gives for a set of awkward values.
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::NumberingSystem> numbers(icu::NumberingSystem::createInstance(env.locale(), status));
    icu::DecimalFormatSymbols symbols(env.locale(), status);
    if (U_SUCCESS(status) && numbers && std::string_view(numbers->getName()) == "latn") {
        symbols.getSymbol(icu::DecimalFormatSymbols::kDecimalSeparatorSymbol).toUTF8String(decimalSeparator_);
        symbols.getSymbol(icu::DecimalFormatSymbols::kMinusSignSymbol).toUTF8String(minusSign_);
        fast_ = true;
        for (double v : {0.0, -0.0, 1234567.891, -12.25, 12.25, 0.05, -0.04, 99999.95, 0.1 + 0.2, 1e-7, 2.5,
                         -2.5, 123.45, 1e14 + 0.5}) {
            for (int decimals : {0, 1, 2, 3}) {
                std::optional<std::string> quick = fastFixed(v, decimals, -1);
                if (!quick || *quick != format("plain " + std::to_string(decimals), v)) fast_ = false;
                quick = fastFixed(v, decimals, 5);
                if (!quick || *quick != format("dial 5 " + std::to_string(decimals), v)) fast_ = false;
            }
        }
    }
}

Formatter::~Formatter() = default;

std::string Formatter::format(const std::string& key, double value) const {
    auto it = cache_->formatters.find(key);
    if (it == cache_->formatters.end()) {
        nf::LocalizedNumberFormatter f = cache_->base;
        std::string_view k = key;
        std::string_view kind = k.substr(0, k.find(' '));
        std::string_view arg = k.substr(kind.size() + 1);
        if (kind == "cost" || kind == "rate") {
            UErrorCode status = U_ZERO_ERROR;
            icu::UnicodeString code16 =
                icu::UnicodeString::fromUTF8(icu::StringPiece(arg.data(), arg.size()));
            f = f.unit(icu::CurrencyUnit(code16.getTerminatedBuffer(), status));
            if (kind == "rate") f = f.precision(nf::Precision::minMaxFraction(0, 7));
        } else if (kind == "plain") {
            f = f.precision(nf::Precision::fixedFraction(std::stoi(std::string(arg))));
        } else if (kind == "upto7") {
            f = f.precision(nf::Precision::minMaxFraction(0, 7));
        } else if (kind == "dial") {
            auto space = arg.find(' ');
            int digits = std::stoi(std::string(arg.substr(0, space)));
            int decimals = std::stoi(std::string(arg.substr(space + 1)));
            f = f.precision(nf::Precision::fixedFraction(decimals))
                    .integerWidth(nf::IntegerWidth::zeroFillTo(digits).truncateAt(digits));
        }
        it = cache_->formatters.emplace(key, std::move(f)).first;
    }
    UErrorCode status = U_ZERO_ERROR;
    icu::UnicodeString text = it->second.formatDouble(value, status).toString(status);
    std::string out;
    if (U_SUCCESS(status)) text.toUTF8String(out);
    return out;
}

std::string Formatter::formatCost(double value, const Value& meter) const {
    std::string_view code = stringOf(meter, "code", "USD");
    if (!isCurrencyCode(code)) return format("plain 2", value);
    return format("cost " + std::string(code), value);
}

std::string Formatter::formatCost(double value, const Value& meter, int /*precision*/) const {
    std::string_view code = stringOf(meter, "code", "USD");
    if (!isCurrencyCode(code)) return format("upto7 -", value);
    return format("rate " + std::string(code), value);
}

std::optional<std::string> Formatter::fastFixed(double value, int decimals, int integerDigits) const {
    if (!fast_ || !std::isfinite(value) || std::abs(value) >= 1e15 || decimals > 15) return std::nullopt;
    char buf[64];
    auto [end, ec] = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::fixed);
    if (ec != std::errc()) return std::nullopt;
    std::string_view text(buf, static_cast<std::size_t>(end - buf));
    bool negative = !text.empty() && text[0] == '-';
    if (negative) text.remove_prefix(1);
    std::size_t dot = text.find('.');
    std::string whole(text.substr(0, dot));
    std::string fraction(dot == std::string_view::npos ? std::string_view() : text.substr(dot + 1));
    // Half to even on the shortest decimal form, as ICU rounds: above a half goes up, a half exactly
    // goes up only from an odd last digit.
    bool up = false;
    if (fraction.size() > static_cast<std::size_t>(decimals)) {
        const char first = fraction[static_cast<std::size_t>(decimals)];
        const bool more =
            fraction.find_first_not_of('0', static_cast<std::size_t>(decimals) + 1) != std::string::npos;
        const char last = decimals > 0 ? fraction[static_cast<std::size_t>(decimals) - 1] : whole.back();
        up = first > '5' || (first == '5' && (more || (last - '0') % 2 == 1));
    }
    fraction.resize(static_cast<std::size_t>(decimals), '0');
    if (up) {
        std::string digits = whole + fraction;
        int i = static_cast<int>(digits.size()) - 1;
        for (; i >= 0 && digits[static_cast<std::size_t>(i)] == '9'; --i)
            digits[static_cast<std::size_t>(i)] = '0';
        if (i < 0) {
            digits.insert(digits.begin(), '1');
        } else {
            ++digits[static_cast<std::size_t>(i)];
        }
        whole = digits.substr(0, digits.size() - fraction.size());
        fraction = digits.substr(digits.size() - fraction.size());
    }
    if (integerDigits >= 0) {  // the dial's width: padded with zeros, cut to its last digits
        if (whole.size() > static_cast<std::size_t>(integerDigits))
            whole = whole.substr(whole.size() - integerDigits);
        whole.insert(0, static_cast<std::size_t>(integerDigits) - whole.size(), '0');
    }
    std::string out = negative ? minusSign_ : std::string();
    out += whole;
    if (decimals > 0) out += decimalSeparator_ + fraction;
    return out;
}

std::string Formatter::formatDouble(double value, const Value& /*meter*/, int precision) const {
    if (precision < 0) return format("upto7 -", value);
    int decimals = clampDigits(precision);
    if (auto quick = fastFixed(value, decimals, -1)) return *quick;
    return format("plain " + std::to_string(decimals), value);
}

std::string Formatter::formatReading(double value, const Value& meter) const {
    int digits = clampDigits(integerOf(meter, "digits", 5));
    int decimals = clampDigits(integerOf(meter, "precision", 1));
    if (auto quick = fastFixed(value, decimals, digits)) return *quick;
    return format("dial " + std::to_string(digits) + " " + std::to_string(decimals), value);
}

std::string Formatter::formatUsage(double value, const Value& meter) const {
    int decimals = clampDigits(integerOf(meter, "precision", 1));
    if (auto quick = fastFixed(value, decimals, -1)) return *quick;
    return format("plain " + std::to_string(decimals), value);
}

int Formatter::currencyPrecision(const Value& meter) const {
    std::string_view code = stringOf(meter, "code", "USD");
    if (!isCurrencyCode(code)) return 2;
    UChar code16[4] = {static_cast<UChar>(code[0]), static_cast<UChar>(code[1]), static_cast<UChar>(code[2]),
                       0};
    UErrorCode status = U_ZERO_ERROR;
    int32_t digits = ucurr_getDefaultFractionDigits(code16, &status);
    return U_SUCCESS(status) ? digits : 2;
}

std::string Formatter::formatDate(Date date, DateStyle style, bool withTime) const {
    return formatDate(date, style, withTime ? TimeStyle::Short : TimeStyle::None);
}

std::string Formatter::formatDate(Date date, DateStyle style, TimeStyle time) const {
    int key = (style == DateStyle::Short ? 0 : 1) * 3 + static_cast<int>(time);
    auto& format = cache_->dates[key];
    if (!format) {
        auto dateStyle = style == DateStyle::Short ? icu::DateFormat::kShort : icu::DateFormat::kMedium;
        if (time == TimeStyle::None) {
            format.reset(icu::DateFormat::createDateInstance(dateStyle, cache_->locale));
        } else {
            auto timeStyle = time == TimeStyle::Short ? icu::DateFormat::kShort : icu::DateFormat::kMedium;
            format.reset(icu::DateFormat::createDateTimeInstance(dateStyle, timeStyle, cache_->locale));
        }
        if (!format) return {};
        format->setTimeZone(*cache_->zone);
    }
    const double udate = (date.seconds + 978307200.0) * 1000.0;
    auto icuText = [&] {
        icu::UnicodeString text;
        format->format(udate, text);
        std::string out;
        text.toUTF8String(out);
        return out;
    };
    if (time == TimeStyle::None || !std::isfinite(udate)) return icuText();

    // A date and time reads as the day's text and the time's text joined by the locale's glue. Long
    // lists (exports) have several readings a day, taken at the same times of day: both parts are
    // remembered and joined. The joining is checked against ICU's whole text on the first calls.
    Split& split = cache_->splits[key];
    if (split.state == Split::Unknown) {
        auto dateStyle = style == DateStyle::Short ? icu::DateFormat::kShort : icu::DateFormat::kMedium;
        auto timeStyle = time == TimeStyle::Short ? icu::DateFormat::kShort : icu::DateFormat::kMedium;
        split.date.reset(icu::DateFormat::createDateInstance(dateStyle, cache_->locale));
        split.time.reset(icu::DateFormat::createTimeInstance(timeStyle, cache_->locale));
        split.state = split.date && split.time ? Split::Checking : Split::Off;
        if (split.state == Split::Checking) {
            split.date->setTimeZone(*cache_->zone);
            split.time->setTimeZone(*cache_->zone);
        }
    }
    if (split.state == Split::Off) return icuText();
    UErrorCode status = U_ZERO_ERROR;
    int32_t raw = 0, dst = 0;
    cache_->zone->getOffset(udate, false, raw, dst, status);
    double local = std::floor((udate + raw + dst) / 1000.0);
    auto day = static_cast<std::int64_t>(std::floor(local / 86400.0));
    auto second = static_cast<int>(local - static_cast<double>(day) * 86400.0);
    auto part = [&](auto& memo, auto id, icu::DateFormat& f) -> const std::string& {
        if (auto it = memo.find(id); it != memo.end()) return it->second;
        if (memo.size() > 20000) memo.clear();
        icu::UnicodeString text;
        f.format(udate, text);
        std::string out;
        text.toUTF8String(out);
        return memo.emplace(id, std::move(out)).first->second;
    };
    const std::string& d = part(split.days, day, *split.date);
    const std::string& t = part(split.times, second, *split.time);
    if (split.state == Split::Checking) {
        std::string whole = icuText();
        // Learn the glue and the order from ICU's own text, then confirm them a few times.
        std::string joined;
        if (whole.size() >= d.size() + t.size() && whole.compare(0, d.size(), d) == 0 &&
            whole.compare(whole.size() - t.size(), t.size(), t) == 0) {
            std::string glue = whole.substr(d.size(), whole.size() - d.size() - t.size());
            if (split.checks == 0) split.glue = glue, split.timeFirst = false;
            joined = d + split.glue + t;
        } else if (whole.size() >= d.size() + t.size() && whole.compare(0, t.size(), t) == 0 &&
                   whole.compare(whole.size() - d.size(), d.size(), d) == 0) {
            std::string glue = whole.substr(t.size(), whole.size() - d.size() - t.size());
            if (split.checks == 0) split.glue = glue, split.timeFirst = true;
            joined = t + split.glue + d;
        }
        if (joined != whole) {
            split.state = Split::Off;
        } else if (++split.checks >= 16) {
            split.state = Split::On;
        }
        return whole;
    }
    return split.timeFirst ? t + split.glue + d : d + split.glue + t;
}

}  // namespace numbrel
