#include "store/text_compare.h"

#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/ustring.h>

#include "plist/utf.h"

namespace numbrel {

int caseInsensitiveCompare(std::string_view a, std::string_view b) {
    if (isAscii(a) && isAscii(b)) {
        std::size_t n = a.size() < b.size() ? a.size() : b.size();
        for (std::size_t i = 0; i < n; ++i) {
            char x = a[i], y = b[i];
            if (x >= 'A' && x <= 'Z') x = static_cast<char>(x - 'A' + 'a');
            if (y >= 'A' && y <= 'Z') y = static_cast<char>(y - 'A' + 'a');
            if (x != y) return static_cast<unsigned char>(x) < static_cast<unsigned char>(y) ? -1 : 1;
        }
        return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
    }
    icu::UnicodeString ua =
        icu::UnicodeString::fromUTF8(icu::StringPiece(a.data(), static_cast<int32_t>(a.size())));
    icu::UnicodeString ub =
        icu::UnicodeString::fromUTF8(icu::StringPiece(b.data(), static_cast<int32_t>(b.size())));
    return ua.caseCompare(ub, U_FOLD_CASE_DEFAULT | U_COMPARE_CODE_POINT_ORDER);
}

std::string asciiLower(std::string_view text) {
    std::string out(text);
    for (char& c : out)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return out;
}

}  // namespace numbrel
