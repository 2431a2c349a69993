// Value formatting: every number that reaches the user (readings, usage, costs, rates) becomes text
// here, by the meter's "digits", "precision" and currency "code", in the device locale (ICU), never
// with a grouping separator.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "plist/value.h"

namespace numbrel {

class Environment;

// A field the system writes with a C format ("%.1f", "%.0f"): exactly decimals decimals, rounded as
// printf rounds, with "." whatever the process locale says.
std::string printfFixed(double value, int decimals);

class Formatter {
public:
    explicit Formatter(const Environment& env);
    ~Formatter();
    Formatter(const Formatter&) = delete;
    Formatter& operator=(const Formatter&) = delete;

    // Currency of the meter's "code", symbol and placement as the locale puts them, the currency's
    // own number of decimals. A meter without costs (code "-") gets a plain number with two decimals.
    std::string formatCost(double value, const Value& meter) const;

    // As formatCost, with 0 to 7 decimals as the value needs: rates show every significant decimal.
    // The precision argument is ignored on purpose.
    std::string formatCost(double value, const Value& meter, int precision) const;

    // Plain decimal: precision below 0 gives 0 to 7 decimals, otherwise exactly precision.
    std::string formatDouble(double value, const Value& meter, int precision) const;

    // A dial reading: exactly "precision" decimals and exactly "digits" whole digits, padded with
    // zeros and cut to the dial's width (1234567 on a 5-digit dial shows 34567).
    std::string formatReading(double value, const Value& meter) const;

    // Usage: exactly "precision" decimals.
    std::string formatUsage(double value, const Value& meter) const;

    // The default number of decimals of the meter's currency (2 for a meter without costs).
    int currencyPrecision(const Value& meter) const;

    // The locale's decimal separator, as number fields read it.
    const std::string& decimalSeparator() const { return decimalSeparator_; }

    enum class DateStyle { Short, Medium };
    enum class TimeStyle { None, Short, Medium };
    // A date in the device locale and time zone: the date in the given style, then the time (short)
    // when withTime is set.
    std::string formatDate(Date date, DateStyle style, bool withTime) const;
    std::string formatDate(Date date, DateStyle style, TimeStyle time) const;

private:
    struct Cache;
    std::string format(const std::string& key, double value) const;
    // Plain decimals without ICU: the shortest decimal form rounded half to even, with the locale's
    // separator and minus sign. Only used once it has given ICU's answers for this locale.
    std::optional<std::string> fastFixed(double value, int decimals, int integerDigits) const;
    bool fast_ = false;
    std::string decimalSeparator_, minusSign_;
    std::unique_ptr<Cache> cache_;
};

}  // namespace numbrel
