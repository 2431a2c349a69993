// The currency symbol table: ISO 4217 code -> short display symbol, 173 entries. It is also the list
// of codes a meter may use; withdrawn codes stay so that old documents keep a valid code.
#pragma once

#include <optional>
#include <span>
#include <string_view>

namespace numbrel {

struct CurrencySymbol {
    std::string_view code;
    std::string_view symbol;
};

// All entries, sorted by code (byte order).
std::span<const CurrencySymbol> symbols();

// The symbol for a code, or nothing when the table lacks it.
std::optional<std::string_view> symbolFor(std::string_view code);

}  // namespace numbrel
