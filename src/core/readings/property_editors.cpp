#include "readings/property_editors.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "readings/meter_editing.h"

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
        case EditKind::Text:
        case EditKind::Notes:
        case EditKind::Date:
            break;
    }
    return std::string(candidate);
}

}  // namespace numbrel
