// Case-insensitive ordering of texts (Unicode case folding, no locale), as unit lists and backup
// lists are sorted.
#pragma once

#include <string>
#include <string_view>

namespace numbrel {

// <0, 0 or >0 as a is before, equal to or after b ignoring case.
int caseInsensitiveCompare(std::string_view a, std::string_view b);

// The text with A-Z made a-z, nothing else touched: for names and keys that are compared in ASCII
// (file extensions, HTTP header names).
std::string asciiLower(std::string_view text);

}  // namespace numbrel
