// Lowercase hexadecimal MD5 digests (OpenSSL libcrypto), as the change fingerprint uses them.
#pragma once

#include <string>
#include <string_view>

namespace numbrel {

// The 32-character lowercase hex MD5 of the bytes of text (UTF-8 for strings).
std::string MD5StringOfString(std::string_view text);

}  // namespace numbrel
