#include "plist/utf.h"

#include <cstdint>
#include <cstring>

namespace numbrel {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

void appendUtf8(std::string& out, char32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

// Decodes one code point at s[i], advancing i; malformed sequences yield U+FFFD and skip one byte.
char32_t nextCodePoint(std::string_view s, std::size_t& i) {
    auto b = static_cast<std::uint8_t>(s[i]);
    if (b < 0x80) {
        ++i;
        return b;
    }
    int len = 0;
    char32_t c = 0;
    char32_t min = 0;
    if ((b & 0xE0) == 0xC0) {
        len = 2, c = b & 0x1F, min = 0x80;
    } else if ((b & 0xF0) == 0xE0) {
        len = 3, c = b & 0x0F, min = 0x800;
    } else if ((b & 0xF8) == 0xF0) {
        len = 4, c = b & 0x07, min = 0x10000;
    } else {
        ++i;
        return kReplacement;
    }
    if (i + len > s.size()) {
        ++i;
        return kReplacement;
    }
    for (int k = 1; k < len; ++k) {
        auto cb = static_cast<std::uint8_t>(s[i + k]);
        if ((cb & 0xC0) != 0x80) {
            ++i;
            return kReplacement;
        }
        c = (c << 6) | (cb & 0x3F);
    }
    if (c < min || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
        ++i;
        return kReplacement;
    }
    i += len;
    return c;
}

}  // namespace

std::u16string utf8ToUtf16(std::string_view utf8) {
    std::u16string out;
    out.reserve(utf8.size());
    for (std::size_t i = 0; i < utf8.size();) {
        char32_t c = nextCodePoint(utf8, i);
        if (c >= 0x10000) {
            c -= 0x10000;
            out += static_cast<char16_t>(0xD800 + (c >> 10));
            out += static_cast<char16_t>(0xDC00 + (c & 0x3FF));
        } else {
            out += static_cast<char16_t>(c);
        }
    }
    return out;
}

std::string utf16ToUtf8(std::u16string_view utf16) {
    std::string out;
    out.reserve(utf16.size());
    for (std::size_t i = 0; i < utf16.size(); ++i) {
        char32_t c = utf16[i];
        if (c >= 0xD800 && c <= 0xDBFF) {
            if (i + 1 < utf16.size() && utf16[i + 1] >= 0xDC00 && utf16[i + 1] <= 0xDFFF) {
                c = 0x10000 + ((c - 0xD800) << 10) + (utf16[i + 1] - 0xDC00);
                ++i;
            } else {
                c = kReplacement;
            }
        } else if (c >= 0xDC00 && c <= 0xDFFF) {
            c = kReplacement;
        }
        appendUtf8(out, c);
    }
    return out;
}

bool isAscii(std::string_view text) {
    for (char c : text)
        if (static_cast<std::uint8_t>(c) >= 0x80) return false;
    return true;
}

bool validUtf8(std::string_view s) {
    std::size_t i = 0;
    while (i < s.size()) {
        // Runs of ASCII, eight bytes at a time.
        while (i + 8 <= s.size()) {
            std::uint64_t word;
            std::memcpy(&word, s.data() + i, 8);
            if (word & 0x8080808080808080ull) break;
            i += 8;
        }
        if (i >= s.size()) break;
        auto c = static_cast<unsigned char>(s[i]);
        std::size_t n = c < 0x80 ? 1 : (c >> 5) == 0x6 ? 2 : (c >> 4) == 0xE ? 3 : (c >> 3) == 0x1E ? 4 : 0;
        if (n == 0 || (n == 2 && c < 0xC2) || i + n > s.size()) return false;
        for (std::size_t k = 1; k < n; ++k)
            if ((static_cast<unsigned char>(s[i + k]) & 0xC0) != 0x80) return false;
        if (n == 3) {
            auto c1 = static_cast<unsigned char>(s[i + 1]);
            if ((c == 0xE0 && c1 < 0xA0) || (c == 0xED && c1 >= 0xA0)) return false;  // overlong, surrogate
        }
        if (n == 4) {
            auto c1 = static_cast<unsigned char>(s[i + 1]);
            if ((c == 0xF0 && c1 < 0x90) || c > 0xF4 || (c == 0xF4 && c1 >= 0x90)) return false;
        }
        i += n;
    }
    return true;
}

}  // namespace numbrel
