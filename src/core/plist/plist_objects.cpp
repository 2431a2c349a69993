#include "plist/plist_objects.h"

#include <bit>
#include <string>

#include "plist/utf.h"

namespace numbrel::plist {

bool ObjectBytes::count(std::uint64_t& pos, std::uint8_t low, std::uint64_t& out, const char*& error) const {
    if (low != 0xF) {
        out = low;
        return true;
    }
    if (!need(pos, 1, error)) return false;
    const std::uint8_t m = data[pos];
    const std::size_t n = std::size_t{1} << (m & 0x0F);
    if ((m & 0xF0) != 0x10 || n > 8) {
        error = "bad count";
        return false;
    }
    if (!need(pos + 1, n, error)) return false;
    out = readBigEndian(data + pos + 1, n);
    pos += 1 + n;
    return true;
}

bool ObjectBytes::scalar(std::uint64_t pos, Value& out, const char*& error) const {
    if (!need(pos, 1, error)) return false;
    const std::uint8_t marker = data[pos++];
    const std::uint8_t high = marker >> 4, low = marker & 0x0F;
    auto bad = [&](const char* message) {
        error = message;
        return false;
    };
    switch (high) {
        case 0x0:
            if (marker == 0x08 || marker == 0x09) {
                out = Value(marker == 0x09);
                return true;
            }
            return bad("unsupported object (null or fill)");
        case 0x1: {
            const std::size_t n = std::size_t{1} << low;
            if (low > 4 || !need(pos, n, error)) return bad("bad integer");
            if (n <= 8) {
                // 1, 2 and 4 bytes are unsigned; 8 bytes are signed.
                out = Value(static_cast<long long>(readBigEndian(data + pos, n)));
                return true;
            }
            const std::uint64_t hi = readBigEndian(data + pos, 8), lo = readBigEndian(data + pos + 8, 8);
            const bool fits = (hi == 0 && lo <= 0x7FFFFFFFFFFFFFFFull) ||
                              (hi == ~std::uint64_t{0} && lo > 0x7FFFFFFFFFFFFFFFull);
            if (fits) {
                out = Value(static_cast<long long>(lo));
            } else if (hi == 0) {
                out = Value(static_cast<double>(lo));  // unsigned 64-bit beyond int64
            } else {
                return bad("integer out of range");
            }
            return true;
        }
        case 0x2:
            if (low == 2 && need(pos, 4, error)) {
                out = Value(static_cast<double>(
                    std::bit_cast<float>(static_cast<std::uint32_t>(readBigEndian(data + pos, 4)))));
                return true;
            }
            if (low == 3 && need(pos, 8, error)) {
                out = Value(std::bit_cast<double>(readBigEndian(data + pos, 8)));
                return true;
            }
            return bad("bad real");
        case 0x3:
            if (marker != 0x33 || !need(pos, 8, error)) return bad("bad date");
            out = Value(Date{std::bit_cast<double>(readBigEndian(data + pos, 8))});
            return true;
        case 0x4: {
            std::uint64_t n = 0;
            if (!count(pos, low, n, error) || !need(pos, n, error)) return false;
            out = Value(Data(data + pos, data + pos + n));
            return true;
        }
        case 0x5: {
            std::uint64_t n = 0;
            if (!count(pos, low, n, error) || !need(pos, n, error)) return false;
            std::string_view s(reinterpret_cast<const char*>(data + pos), n);
            if (isAscii(s)) {
                out = Value(std::string(s));
            } else {  // bytes above 0x7F in an "ASCII" string: read them as Latin-1
                std::u16string wide(s.size(), u'\0');
                for (std::size_t i = 0; i < s.size(); ++i)
                    wide[i] = static_cast<std::uint8_t>(s[i]);
                out = Value(utf16ToUtf8(wide));
            }
            return true;
        }
        case 0x6: {
            std::uint64_t n = 0;
            if (!count(pos, low, n, error)) return false;
            if (n > end / 2 || !need(pos, n * 2, error)) return bad("bad string length");
            std::u16string wide(n, u'\0');
            for (std::uint64_t i = 0; i < n; ++i)
                wide[i] = static_cast<char16_t>(readBigEndian(data + pos + 2 * i, 2));
            out = Value(utf16ToUtf8(wide));
            return true;
        }
        case 0x8:
            if (!need(pos, low + 1u, error)) return false;
            if (low + 1u > 8) return bad("bad UID");
            out = Value::uid(readBigEndian(data + pos, low + 1u));
            return true;
        default:
            return bad("not a scalar object");
    }
}

}  // namespace numbrel::plist
