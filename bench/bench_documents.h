// Generated documents for the benchmarks: a household of 10 meters with 10 years of daily readings.
#pragma once

#include <string>

#include "plist/value.h"

namespace numbrel::bench {

// meters x days readings, newest first, with stepped and monthly tariffs and rate changes.
Value largeDocument(int meters = 10, int days = 3650);

// Writes largeDocument() as a store file at path (binary property list).
void writeLargeStore(const std::string& path);

}  // namespace numbrel::bench
