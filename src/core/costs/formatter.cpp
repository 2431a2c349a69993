#include "costs/formatter.h"

#include <unicode/datefmt.h>
#include <unicode/numberformatter.h>
#include <unicode/timezone.h>
#include <unicode/ucurr.h>

#include <algorithm>

#include "store/environment.h"

namespace numbrel {

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
struct Formatter::Cache {
    nf::LocalizedNumberFormatter base;
    std::map<std::string, nf::LocalizedNumberFormatter, std::less<>> formatters;
    std::map<int, std::unique_ptr<icu::DateFormat>> dates;
    std::unique_ptr<icu::TimeZone> zone;
    icu::Locale locale;
};

Formatter::Formatter(const Environment& env) : cache_(std::make_unique<Cache>()) {
    cache_->zone.reset(env.timeZone().clone());
    cache_->locale = env.locale();
    // Halves round up (123.45 on a one-decimal dial shows 123.5), and no thousands separators.
    cache_->base = nf::NumberFormatter::withLocale(env.locale())
                       .grouping(UNUM_GROUPING_OFF)
                       .roundingMode(UNUM_ROUND_HALFUP);
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

std::string Formatter::formatDouble(double value, const Value& /*meter*/, int precision) const {
    if (precision < 0) return format("upto7 -", value);
    return format("plain " + std::to_string(clampDigits(precision)), value);
}

std::string Formatter::formatReading(double value, const Value& meter) const {
    int digits = clampDigits(integerOf(meter, "digits", 5));
    int decimals = clampDigits(integerOf(meter, "precision", 1));
    return format("dial " + std::to_string(digits) + " " + std::to_string(decimals), value);
}

std::string Formatter::formatUsage(double value, const Value& meter) const {
    return format("plain " + std::to_string(clampDigits(integerOf(meter, "precision", 1))), value);
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
    icu::UnicodeString text;
    format->format((date.seconds + 978307200.0) * 1000.0, text);
    std::string out;
    text.toUTF8String(out);
    return out;
}

}  // namespace numbrel
