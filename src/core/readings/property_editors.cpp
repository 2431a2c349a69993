#include "readings/property_editors.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

#include "costs/formatter.h"
#include "readings/meter_editing.h"
#include "store/calendar.h"
#include "store/text_compare.h"
#include "ui/localize.h"

namespace numbrel {

namespace {

bool allDigits(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::string withoutSpaces(std::string_view text) {
    std::string out;
    for (char c : text)
        if (c != ' ') out += c;
    return out;
}

}  // namespace

NumberViewController::NumberViewController(bool allowFloat, std::string decimalSeparator)
    : allowFloat_(allowFloat), separator_(std::move(decimalSeparator)) {}

std::optional<double> NumberViewController::read(std::string_view text) const {
    std::string plain;
    int digits = 0, points = 0;
    for (std::size_t i = 0; i < text.size();) {
        if (!separator_.empty() && text.substr(i, separator_.size()) == separator_) {
            plain += '.';
            ++points;
            i += separator_.size();
        } else if (text[i] == '.') {
            plain += '.';
            ++points;
            ++i;
        } else if (text[i] >= '0' && text[i] <= '9') {
            plain += text[i++];
            ++digits;
        } else {
            return std::nullopt;
        }
    }
    if (digits == 0 || points > 1) return std::nullopt;
    if (plain.back() == '.') plain.pop_back();  // "12." reads as 12 while the decimals are typed
    if (plain.front() == '.') plain.insert(plain.begin(), '0');
    double v = 0;
    auto [end, ec] = std::from_chars(plain.data(), plain.data() + plain.size(), v);
    if (ec != std::errc() || end != plain.data() + plain.size() || !std::isfinite(v)) return std::nullopt;
    return v;
}

std::optional<std::string> NumberViewController::change(std::string_view current,
                                                        std::string_view candidate) const {
    (void)current;
    std::string text = withoutSpaces(candidate);
    if (text.empty()) return std::string("0");
    if (allDigits(text)) {
        while (text.size() > 1 && text[0] == '0')
            text.erase(0, 1);
        return text;
    }
    if (allowFloat_ && read(text)) return text;
    return std::nullopt;
}

std::optional<double> NumberViewController::value(std::string_view text) const {
    std::string t = withoutSpaces(text);
    bool negative = !t.empty() && t[0] == '-';
    if (negative) t.erase(0, 1);
    if (t.empty()) return 0.0;
    std::optional<double> v;
    if (allowFloat_) {
        v = read(t);
    } else {
        // The whole number the text starts with: "12.7" stores 12.
        std::size_t n = 0;
        while (n < t.size() && t[n] >= '0' && t[n] <= '9')
            ++n;
        v = n == 0 ? std::nullopt : read(t.substr(0, n));
    }
    if (!v) return std::nullopt;
    return negative ? -*v : *v;
}

std::optional<std::string> acceptTyping(const ValueEdit& edit, std::string_view current,
                                        std::string_view candidate, const std::string& decimalSeparator) {
    switch (edit.kind) {
        case EditKind::Number:
            return NumberViewController(edit.allowFloat, decimalSeparator).change(current, candidate);
        case EditKind::Postcode: {
            std::string upper(candidate);
            for (char& c : upper)
                if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
            if (upper.size() < current.size()) return upper;  // deleting is always accepted
            if (!postcodeAccepts(upper)) return std::nullopt;
            return upper;
        }
        case EditKind::Password:
            for (char c : candidate)
                if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) return std::nullopt;
            break;
        case EditKind::Text:
        case EditKind::Notes:
        case EditKind::Date:
            break;
    }
    return std::string(candidate);
}

ValueEdit nameEditor(Value& meter) {
    ValueEdit e{tr("Edit Name"), "",     std::string(stringOf(meter, "name")), std::nullopt,
                EditKind::Text,  nullptr};
    e.required = true;
    e.apply = [target = &meter](const std::string& t, const std::string&) {
        return !setMeterKey(*target, "name", t);
    };
    return e;
}

ValueEdit newMeterEditor(std::function<void(const std::string&)> create) {
    ValueEdit e{tr("Meter Name"), "", "", std::nullopt, EditKind::Text, nullptr};
    e.required = true;
    e.apply = [create = std::move(create)](const std::string& text, const std::string&) {
        std::size_t first = text.find_first_not_of(" \t\n"), last = text.find_last_not_of(" \t\n");
        if (first == std::string::npos) return false;
        create(text.substr(first, last - first + 1));
        return true;
    };
    return e;
}

ValueEdit postcodeEditor(Value& dictionary, const std::string& key, std::string title, std::string footer) {
    const bool postcode = key == "postcode";
    ValueEdit e{std::move(title),
                std::move(footer),
                std::string(stringOf(dictionary, key)),
                std::nullopt,
                postcode ? EditKind::Postcode : EditKind::Text,
                nullptr};
    e.apply = [target = &dictionary, key, postcode](const std::string& t, const std::string&) {
        if (postcode) return !setMeterKey(*target, "postcode", t);
        target->set(key, Value(t));
        return true;
    };
    return e;
}

ValueEdit notesEditor(Value& dictionary, const std::string& key) {
    ValueEdit e{tr("Notes"),     "",     std::string(stringOf(dictionary, key)), std::nullopt,
                EditKind::Notes, nullptr};
    e.apply = [target = &dictionary, key](const std::string& t, const std::string&) {
        if (t.empty()) {
            target->erase(key);
        } else {
            target->set(key, Value(t));
        }
        return true;
    };
    return e;
}

ValueEdit unitEditor(Value& settings) {
    ValueEdit e{tr("New Units"), tr("Enter your own user defined units"), "", std::nullopt, EditKind::Text,
                nullptr};
    e.required = true;
    e.apply = [target = &settings](const std::string& text, const std::string&) {
        if (text.empty()) return false;
        Value* units = target->find("units");
        if (!units || !units->isArray()) units = &target->set("units", Value::emptyArray());
        Array& list = units->array();
        if (std::none_of(list.begin(), list.end(),
                         [&](const Value& u) { return u.isString() && u.string() == text; })) {
            list.emplace_back(text);
            std::stable_sort(list.begin(), list.end(), [](const Value& a, const Value& b) {
                return caseInsensitiveCompare(a.toString(), b.toString()) < 0;
            });
        }
        return true;
    };
    return e;
}

ValueEdit dateEditor(Value& meter, int index, const Calendar& calendar) {
    const Array* previous = arrayOf(meter, "previous");
    const Value* change = previous && index >= 0 && index < static_cast<int>(previous->size())
                              ? &(*previous)[static_cast<std::size_t>(index)]
                              : nullptr;
    const Value* to = change ? change->find("to") : nullptr;
    // The last day the rates were in force: they end at the start of the next day.
    CalendarDate c = calendar.components(Date{(to && to->isDate() ? to->date().seconds : 0.0) - 1.0});
    char text[16];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d", c.year, c.month, c.day);
    ValueEdit e{tr("To"), tr("The last day these rates were charged"), text, std::nullopt, EditKind::Date,
                nullptr};
    e.apply = [target = &meter, index, cal = &calendar](const std::string& t, const std::string&) {
        int y = 0, mo = 0, d = 0;
        if (std::sscanf(t.c_str(), "%d-%d-%d", &y, &mo, &d) != 3 || mo < 1 || mo > 12 || d < 1 || d > 31)
            return false;
        dateRateChange(*target, index, Date{cal->date(y, mo, d, 23, 59, 59).seconds + 1.0});
        return true;
    };
    return e;
}

ValueEdit numberEditor(std::string title, std::string prompt, Value& dictionary, const char* field,
                       const char* period, NumberKind kind, const Formatter& formatter) {
    const double current = realOf(dictionary, field);
    ValueEdit e{std::move(title), std::move(prompt), "", std::nullopt, EditKind::Number, nullptr};
    e.allowFloat = kind != NumberKind::Count;
    e.allowNegative = kind == NumberKind::Money;
    e.negative = e.allowNegative && current < 0;
    e.value = formatter.formatDouble(e.negative ? -current : current, dictionary, -1);
    if (period) e.period = std::string(stringOf(dictionary, period, "day"));
    NumberViewController reader(e.allowFloat, formatter.decimalSeparator());
    e.apply = [target = &dictionary, field, period, reader](const std::string& t, const std::string& word) {
        std::optional<double> v = reader.value(t);
        if (!v) return false;
        if (std::string_view(field) == "factor" && *v == 0) v = 1.0;  // a conversion factor is never zero
        target->set(field, *v);
        if (period &&
            (word == "day" || word == "week" || word == "month" || word == "quarter" || word == "year"))
            target->set(period, word);
        return true;
    };
    return e;
}

}  // namespace numbrel
