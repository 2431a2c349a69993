// The typing rules of the value editors: what each keystroke does to a number field or a postcode
// field, and the number a number field stores on Save.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "ui/screen.h"

namespace numbrel {

// The number editor's field. Digits are always accepted (a leading "0" before a digit is dropped);
// anything else only when decimals are allowed and the whole text still reads as a number of 0 or
// more; spaces are removed; a field emptied shows "0".
class NumberViewController {
public:
    NumberViewController(bool allowFloat, std::string decimalSeparator);

    // The field's text after an edit from current to candidate, or nothing when the edit is refused.
    std::optional<std::string> change(std::string_view current, std::string_view candidate) const;

    // The number Save stores for the text: its integer value without decimals (0 when empty), the
    // number read otherwise, negated by a leading "-" (the sign button). Nothing when it is no number.
    std::optional<double> value(std::string_view text) const;

private:
    // The number a text of digits with at most one separator (the locale's or ".") reads as.
    std::optional<double> read(std::string_view text) const;
    bool allowFloat_;
    std::string separator_;
};

// The text after an edit of a value editor's field from current to candidate, or nothing when the
// editor refuses it: numbers by the rules above, postcodes upper-cased and refused once they can no
// longer start a postcode (deleting is always accepted), other text as typed.
std::optional<std::string> acceptTyping(const ValueEdit& edit, std::string_view current,
                                        std::string_view candidate, const std::string& decimalSeparator);

}  // namespace numbrel
