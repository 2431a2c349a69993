// The Range header of a GET (RFC 9110, section 14), read against a file's length the way nginx does:
// what to send, whole or in pieces.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace numbrel::net {

struct ByteRange {
    std::uint64_t first = 0;  // the first byte
    std::uint64_t last = 0;   // the last byte, included
    std::uint64_t size() const { return last - first + 1; }
};

struct RangeAnswer {
    enum class Kind {
        Whole,    // 200 with the whole file: no header, an invalid or an unknown one, or one not worth it
        Partial,  // 206 with ranges (one: Content-Range; several: multipart/byteranges)
        Unsatisfiable,  // 416 with "Content-Range: bytes */LENGTH"
    };
    Kind kind = Kind::Whole;
    std::vector<ByteRange> ranges;
};

// header is the Range field's value. Several ranges that together come to more than the file are
// answered with the whole file, as are more than maxRanges.
RangeAnswer parseRange(std::string_view header, std::uint64_t length, std::size_t maxRanges = 64);

}  // namespace numbrel::net
