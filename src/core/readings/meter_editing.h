// The edits the meter editors make to a meter record, with their rules: a new meter, the dial digits a
// meter's readings allow, the postcode typing rules, a conversion factor that is never zero, currency
// codes from the symbol table, and the copying, dating and deleting of rate changes.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "plist/value.h"

namespace numbrel {

class Environment;
class Calendar;

// A new meter record: type "Other", 5 digits, 1 decimal, one register, "kWh", factor 1, no charges,
// the locale's currency (or "USD"), three tariff records in the rates layout.
Value newMeter(std::string_view name, const Environment& env);

// The fewest dial digits (3 to 8) that hold the meter's largest register value.
int smallestDigits(const Value& meter);

// Whether text is accepted as the (upper-case) start of a UK postcode, applying the typing rules to
// every character from the left: letters, digits and one space; at most three digits; a letter third
// only after a digit; after the space a digit, then letters; the inward code's shape.
bool postcodeAccepts(std::string_view text);

// Sets one of a meter's simple keys from text, with the editors' rules. Returns an error message when
// the value is refused (the meter is then unchanged).
std::optional<std::string> setMeterKey(Value& meter, std::string_view key, std::string_view text);

// "Add rate change": a copy of the meter's rates in force up to the start of tomorrow, inserted so
// that "previous" stays newest first (a newer copy before an older one with the same "to").
void addRateChange(Value& meter, const Calendar& calendar, Date now);

// Re-dates a rate change ("to" = the instant given) and keeps "previous" ordered.
void dateRateChange(Value& meter, int index, Date to);

// Deletes a rate change; "previous" goes when it is empty.
void deleteRateChange(Value& meter, int index);

}  // namespace numbrel
