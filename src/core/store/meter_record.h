// Readings of a meter record that several screens share.
#pragma once

#include <string>

#include "plist/value.h"

namespace numbrel {

// How the registers add up: "" for one register, else "R1 + R2", "Day + Night", "Night + Day",
// "R1 - R2", "R1 + R2 + R3", "R1 + R2 - R3" or "R1 - R2 + R3".
std::string registerFormula(const Value& meter);

// The meter's readings, or null when it has none (or a broken "readings").
const Array* readingsOf(const Value& meter);

}  // namespace numbrel
