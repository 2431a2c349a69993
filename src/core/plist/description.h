// The textual description of a value: deterministic (dictionary keys in sorted order), compact, and
// exact (every double is written in its shortest form that reads back to the same bits). The change
// fingerprint and the backup hash are computed over it.
//
//   dictionary {"key"=value;"key2"=value;}   array (a,b)      string "text" (\" \\ \n escaped)
//   integer 42    real 42.0 or 0.1    boolean true/false    date @415696502.5    data <0a1b>
#pragma once

#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>

#include "plist/value.h"

namespace numbrel {

std::string description(const Value& value);

// Appends the description to out; top-level dictionary keys listed in skip are left out.
void appendDescription(std::string& out, const Value& value,
                       std::initializer_list<std::string_view> skip = {});

// Streams the description in pieces of a few kilobytes to consume (so that a digest of a large
// document needs no copy of its whole text).
void streamDescription(const Value& value, std::initializer_list<std::string_view> skip,
                       const std::function<void(std::string_view)>& consume);

// One pass for two consumers: the whole description to all, and the description without the
// top-level entries under skip to filtered (each exactly as streamDescription would give them).
void streamDescription(const Value& dictionary, std::initializer_list<std::string_view> skip,
                       const std::function<void(std::string_view)>& all,
                       const std::function<void(std::string_view)>& filtered);

// The shortest decimal text that reads back to exactly d ("1.0" style for whole numbers when
// markWhole is set, so that reals stay apart from integers).
std::string shortestDouble(double d, bool markWhole = false);

}  // namespace numbrel
