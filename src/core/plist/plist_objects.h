// The objects of a binary property list as its two readers see them (the plain reader and the keyed
// archive reader): big-endian numbers, counts and scalar objects, every length checked against the
// end of the object area. Malformed bytes give an error message, never a read out of bounds.
#pragma once

#include <cstdint>
#include <cstring>

#include "plist/value.h"

namespace numbrel::plist {

// Big-endian unsigned number of n (1 to 8) bytes.
inline std::uint64_t readBigEndian(const std::uint8_t* p, std::size_t n) {
    switch (n) {  // the sizes writers use, without a loop
        case 1:
            return p[0];
        case 2:
            return std::uint64_t{p[0]} << 8 | p[1];
        case 3:  // references and offsets of files with tens of thousands of objects
            return std::uint64_t{p[0]} << 16 | std::uint64_t{p[1]} << 8 | p[2];
        case 4: {
            std::uint32_t v;
            std::memcpy(&v, p, 4);
            return __builtin_bswap32(v);
        }
        case 8: {
            std::uint64_t v;
            std::memcpy(&v, p, 8);
            return __builtin_bswap64(v);
        }
        default:
            break;
    }
    std::uint64_t v = 0;
    for (std::size_t i = 0; i < n; ++i)
        v = v << 8 | p[i];
    return v;
}

struct ObjectBytes {
    const std::uint8_t* data = nullptr;
    std::uint64_t end = 0;  // objects lie before this offset

    bool need(std::uint64_t pos, std::uint64_t len, const char*& error) const {
        if (pos > end || len > end - pos) {
            error = "object runs past the end of the file";
            return false;
        }
        return true;
    }

    // The element count of a marker whose low nibble is the count or 0xF (a count object follows);
    // pos moves past the count object.
    bool count(std::uint64_t& pos, std::uint8_t low, std::uint64_t& out, const char*& error) const;

    // The scalar object (boolean, integer, real, date, data, string, UID) whose marker is at pos.
    bool scalar(std::uint64_t pos, Value& out, const char*& error) const;
};

}  // namespace numbrel::plist
