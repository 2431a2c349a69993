// The keyed archive: a value graph flattened into "$objects" and joined by UID references, the
// layout the platform archiver writes ("$archiver" "NSKeyedArchiver", "$version" 100000, "$top" with
// "root"), stored as a binary property list. Backups are written and read in it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "plist/binary_plist.h"
#include "plist/value.h"

namespace numbrel {

// Archives a value: dictionaries as NSMutableDictionary (NS.keys, NS.objects), arrays as
// NSMutableArray (NS.objects), dates as NSDate (NS.time), data as NSData (NS.data); strings,
// numbers and booleans stand in "$objects" themselves, each equal one once.
std::string writeKeyedArchive(const Value& root);

// The same with one more entry in the root dictionary, slotKey (which the root must not hold), whose
// integer is filled in afterwards: so that a number computed from the root while it is archived (a
// backup's hash) can go in without archiving twice.
struct SlottedArchive {
    std::string bytes;
    std::size_t slot = 0;  // where the integer's eight bytes are
    void fill(std::int64_t value);
};
SlottedArchive writeKeyedArchive(const Value& root, std::string_view slotKey);

// Reads the root object of a keyed archive. Besides what writeKeyedArchive writes it accepts what the
// platform archiver itself writes (NSString / NSMutableString objects, objects referenced from several
// places). Cycles, references out of range, unknown or wrong classes, nesting deeper than
// kMaxPlistDepth and graphs that would unfold to more than a bounded size are errors, never crashes.
PlistResult readKeyedArchive(std::string_view bytes);

}  // namespace numbrel
