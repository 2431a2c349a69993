// Reading XML property lists (hand-edited or exported stores). Like the binary reader it checks
// its input and reports an error rather than failing on malformed text.
#pragma once

#include <string_view>

#include "plist/binary_plist.h"

namespace numbrel {

PlistResult readXmlPlist(std::string_view text);

}  // namespace numbrel
