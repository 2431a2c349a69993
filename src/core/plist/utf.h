// UTF-8 <-> UTF-16 conversion without locale state. Invalid input becomes U+FFFD, never an error.
#pragma once

#include <string>
#include <string_view>

namespace numbrel {

std::u16string utf8ToUtf16(std::string_view utf8);
std::string utf16ToUtf8(std::u16string_view utf16);
bool isAscii(std::string_view text);
// Whether bytes are well-formed UTF-8 (no overlong forms, surrogates or code points past U+10FFFF).
bool validUtf8(std::string_view text);

}  // namespace numbrel
