// The binary property-list format ("bplist00"): a reader that checks everything it is given, since
// files come from outside, and a writer whose output the platform's and Python's readers load.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "plist/value.h"

namespace numbrel {

struct PlistResult {
    Value value;
    std::string error;  // empty on success; otherwise what is wrong with the file
    bool ok() const { return error.empty(); }
};

inline constexpr int kMaxPlistDepth = 512;

// Reads a whole binary property list. Malformed input of any kind gives an error, never a crash:
// the trailer, offset table and object references are range-checked, reference cycles and nesting
// deeper than kMaxPlistDepth are refused, and counts must fit in the file.
PlistResult readBinaryPlist(std::string_view bytes);

// Writes a value as a binary property list. Equal strings and scalars are stored once.
std::string writeBinaryPlist(const Value& value);

// Writes a dictionary made of the given entries (keys unique) without assembling it first.
std::string writeBinaryPlistDictionary(std::span<const std::pair<std::string_view, const Value*>> entries);

bool looksLikeBinaryPlist(std::string_view bytes);

}  // namespace numbrel
