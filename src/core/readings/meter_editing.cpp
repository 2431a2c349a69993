#include "readings/meter_editing.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "costs/currency_table.h"
#include "store/calendar.h"
#include "store/document.h"
#include "store/environment.h"
#include "store/validation.h"

namespace numbrel {

namespace {

std::optional<double> parseNumber(std::string_view text) {
    double v = 0;
    auto [p, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
    if (ec != std::errc() || p != text.data() + text.size() || !std::isfinite(v)) return std::nullopt;
    return v;
}

std::optional<int> parseInteger(std::string_view text) {
    int v = 0;
    auto [p, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
    if (ec != std::errc() || p != text.data() + text.size()) return std::nullopt;
    return v;
}

bool isPeriodWord(std::string_view w) {
    return w == "day" || w == "week" || w == "month" || w == "quarter" || w == "year";
}

// Inserts a rate change so that "previous" stays newest "to" first: before the first record whose
// "to" is not later than its own, else at the end.
void insertOrdered(Array& previous, Value change) {
    Date to = change.find("to")->date();
    auto at = std::find_if(previous.begin(), previous.end(), [&](const Value& r) {
        const Value* t = r.find("to");
        return !t || !t->isDate() || !(t->date() > to);
    });
    previous.insert(at, std::move(change));
}

}  // namespace

Value newMeter(std::string_view name, const Environment& env) {
    Value m = Value::makeDictionary({{"name", Value(std::string(name))},
                                     {"type", "Other"},
                                     {"digits", 5},
                                     {"precision", 1},
                                     {"enabled", 1},
                                     {"tax", 0.0},
                                     {"units", "kWh"},
                                     {"factor", 1.0},
                                     {"percent", 0.0},
                                     {"discount", 0.0},
                                     {"period2", "day"},
                                     {"fixed", 0.0},
                                     {"period", "day"},
                                     {"readings", Value::emptyArray()},
                                     {"postcode", ""},
                                     {"house", ""},
                                     {"economy7", 0},
                                     {"code", Value(defaultCurrencyCode(env))}});
    Array tariffs{legacyTariff(), legacyTariff(), legacyTariff()};
    for (Value& t : tariffs)
        normaliseTariff(t);
    m.set("tariffs", Value(std::move(tariffs)));
    return m;
}

int smallestDigits(const Value& meter) {
    double largest = 0;
    std::int64_t enabled = std::clamp<std::int64_t>(integerOf(meter, "enabled", 1), 1, 3);
    if (const Array* readings = arrayOf(meter, "readings")) {
        for (const Value& r : *readings) {
            const Value* values = r.find("reading");
            for (std::int64_t i = 0; i < enabled; ++i) {
                const Value* v = values ? values->at(static_cast<std::size_t>(i)) : nullptr;
                if (v) largest = std::max(largest, v->toReal());
            }
        }
    }
    if (largest >= 10000000) return 8;
    if (largest >= 1000000) return 7;
    if (largest >= 100000) return 6;
    if (largest >= 10000) return 5;
    if (largest >= 1000) return 4;
    return 3;
}

bool postcodeAccepts(std::string_view text) {
    int digits = 0;
    int space = -1;  // where the space is
    int firstDigit = -1;
    int letterAfterFirst = -1;  // a letter right after the first digit, before any second digit
    bool pair = false;          // two letters side by side at position 2 or later
    for (int i = 0; i < static_cast<int>(text.size()); ++i) {
        char c = text[static_cast<std::size_t>(i)];
        if (c == ' ') {
            if (space >= 0) return false;  // one space at most
            space = i;
            continue;
        }
        bool digit = c >= '0' && c <= '9', letter = c >= 'A' && c <= 'Z';
        if (!digit && !letter) return false;
        // After the letter that follows the first digit, the outward code ends one position later
        // (two with the space): no letter there, no digit beyond.
        int limit = letterAfterFirst >= 0 ? letterAfterFirst + (space >= 0 ? 2 : 1) : -1;
        if (digit) {
            if (++digits > 3) return false;
            if (space >= 0 && i > space + 1) return false;  // after the space: one digit, then letters
            if (limit >= 0 && i > limit) return false;
            if (firstDigit < 0) firstDigit = i;
        } else {
            if (i == 2 && firstDigit < 0) return false;  // a letter third only after a digit
            if (space >= 0 && i == space + 1) return false;
            if (limit >= 0 && i == limit) return false;
            if (pair) return false;
            if (firstDigit >= 0 && i == firstDigit + 1 && digits == 1) letterAfterFirst = i;
            char before = i >= 1 ? text[static_cast<std::size_t>(i - 1)] : ' ';
            if (i - 1 >= 2 && before >= 'A' && before <= 'Z') pair = true;
        }
    }
    return true;
}

std::optional<std::string> setMeterKey(Value& meter, std::string_view key, std::string_view text) {
    auto number = [&]() -> std::optional<double> { return parseNumber(text); };
    if (key == "name") {
        if (text.empty()) return "a meter needs a name";
        meter.set("name", Value(std::string(text)));
    } else if (key == "type") {
        static const char* const kTypes[] = {"Electricity", "Gas", "Water", "Solar", "Wind", "Other"};
        if (std::find(std::begin(kTypes), std::end(kTypes), text) == std::end(kTypes))
            return "the type is Electricity, Gas, Water, Solar, Wind or Other";
        meter.set("type", Value(std::string(text)));
    } else if (key == "digits") {
        std::optional<int> d = parseInteger(text);
        int least = smallestDigits(meter);
        if (!d || *d < 3 || *d > 8) return "digits are 3 to 8";
        if (*d < least) return "the meter's readings need " + std::to_string(least) + " digits or more";
        meter.set("digits", *d);
    } else if (key == "precision") {
        std::optional<int> p = parseInteger(text);
        if (!p || *p < 0 || *p > 4) return "precision is 0 to 4 decimals";
        meter.set("precision", *p);
    } else if (key == "direction") {
        if (text == "up" || text == "0") {
            meter.erase("direction");
        } else if (text == "down" || text == "1") {
            meter.set("direction", 1);
        } else if (text == "other" || text == "2") {
            meter.set("direction", 2);
        } else {
            return "the direction is up, down or other";
        }
    } else if (key == "units" || key == "house") {
        if (key == "units" && text.empty()) return "units need a name";
        meter.set(key, Value(std::string(text)));
    } else if (key == "factor") {
        std::optional<double> f = number();
        if (!f || *f < 0) return "the factor is a number, 0 or more";
        meter.set("factor", *f == 0 ? 1.0 : *f);  // a conversion factor is never zero
    } else if (key == "code") {
        if (!symbolFor(text)) return "unknown currency code " + std::string(text);
        meter.set("code", Value(std::string(text)));
    } else if (key == "fixed" || key == "discount" || key == "percent" || key == "tax") {
        std::optional<double> v = number();
        if (!v) return std::string(key) + " is a number";
        meter.set(key, *v);
    } else if (key == "period" || key == "period2") {
        if (!isPeriodWord(text)) return "the period is day, week, month, quarter or year";
        meter.set(key, Value(std::string(text)));
    } else if (key == "postcode") {
        std::string upper(text);
        for (char& c : upper)
            if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
        // As typed, character by character: every prefix must be accepted.
        for (std::size_t n = 1; n <= upper.size(); ++n)
            if (!postcodeAccepts(std::string_view(upper).substr(0, n)))
                return "not a UK postcode: \"" + upper.substr(0, n) + "\" is refused";
        meter.set("postcode", Value(upper));
    } else if (key == "notes") {
        if (text.empty()) {
            meter.erase("notes");
        } else {
            meter.set("notes", Value(std::string(text)));
        }
    } else {
        return "unknown key " + std::string(key);
    }
    return std::nullopt;
}

void addRateChange(Value& meter, const Calendar& calendar, Date now) {
    Value copy = Value::emptyDictionary();
    for (const char* key : {"fixed", "period", "tariffs", "discount", "period2", "percent", "tax"})
        if (const Value* v = meter.find(key)) copy.set(key, *v);
    // In force up to the end of today: the meter's own rates, which the user now edits, from tomorrow.
    CalendarDate c = calendar.components(now);
    copy.set("to", Date{calendar.date(c.year, c.month, c.day, 23, 59, 59).seconds + 1.0});
    Value* previous = meter.find("previous");
    if (!previous || !previous->isArray()) previous = &meter.set("previous", Value::emptyArray());
    insertOrdered(previous->array(), std::move(copy));
}

void dateRateChange(Value& meter, int index, Date to) {
    Array* previous = arrayOf(meter, "previous");
    if (!previous || index < 0 || index >= static_cast<int>(previous->size())) return;
    Value change = std::move((*previous)[static_cast<std::size_t>(index)]);
    previous->erase(previous->begin() + index);
    if (!change.isDictionary()) change = Value::emptyDictionary();
    change.set("to", to);
    insertOrdered(*previous, std::move(change));
}

void deleteRateChange(Value& meter, int index) {
    Array* previous = arrayOf(meter, "previous");
    if (!previous || index < 0 || index >= static_cast<int>(previous->size())) return;
    previous->erase(previous->begin() + index);
    if (previous->empty()) meter.erase("previous");  // an empty list is never kept
}

}  // namespace numbrel
