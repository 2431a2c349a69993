// The property editors of a meter, each as its dialog shows it (title, prompt, value, kind) with what
// its Save stores, and the typing rules of their fields: what each keystroke does to a number field
// or a postcode field, and the number a number field stores.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "plist/value.h"
#include "ui/screen.h"

namespace numbrel {

class Calendar;
class Formatter;

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

// NameViewController on a meter: "Edit Name"; Save only with text.
ValueEdit nameEditor(Value& meter);
// NameViewController without a meter: "Meter Name"; Save hands the name, trimmed, to create.
ValueEdit newMeterEditor(std::function<void(const std::string&)> create);
// PostcodeViewController: the text under key with the caller's title and footer; "postcode" is typed
// by the postcode rules and stored upper case, other keys ("house", "email") take any text.
ValueEdit postcodeEditor(Value& dictionary, const std::string& key, std::string title, std::string footer);
// NotesViewController: "Notes" under key; Save with no text removes the key.
ValueEdit notesEditor(Value& dictionary, const std::string& key);
// UnitViewController: "New Units"; a unit not yet in the settings' "units" is added, the list kept
// sorted without regard to case.
ValueEdit unitEditor(Value& settings);
// DateViewController: "To" of the rate change at index in the meter's "previous": the picker shows
// the last day the rates were charged; Save makes them end at the start of the next day and keeps
// "previous" newest first.
ValueEdit dateEditor(Value& meter, int index, const Calendar& calendar);

// NumberViewController: a number under field, and when period is given a period word under it.
// Money may be negative (a sign button), counts are whole, the rest are decimals of 0 or more; a
// "factor" of 0 is stored as 1.
enum class NumberKind { Money, Count, Positive };
ValueEdit numberEditor(std::string title, std::string prompt, Value& dictionary, const char* field,
                       const char* period, NumberKind kind, const Formatter& formatter);

}  // namespace numbrel
