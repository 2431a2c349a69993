// The tour of the main screen: a chain of alerts (tags 100 to 108) that the main screen shows when
// "tour" is on. "Next" leads to the following step; "Cancel", or "OK" on the last, ends it.
#pragma once

#include <optional>

#include "ui/alert.h"

namespace numbrel {

class Environment;

inline constexpr int kFirstTourTag = 100;
inline constexpr int kLastTourTag = 108;

// The step with this tag; nothing for a tag outside the tour. Step 105 says "Colors" where the
// locale's currency is the US dollar.
std::optional<Alert> tourAlert(int tag, const Environment& env);

}  // namespace numbrel
