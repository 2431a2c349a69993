// Work that one call splits into two independent pieces, both done before the call returns. The core
// starts no threads of its own: a front end installs a runner that may do the second piece on another
// thread. Without one, callers do not split their work, and a pair runs one piece after the other.
#pragma once

#include <functional>

namespace numbrel {

// Runs first and second and returns when both are done. The pieces share nothing that either writes.
using PairRunner =
    std::function<void(const std::function<void()>& first, const std::function<void()>& second)>;

// Installs the runner for the whole process, before any work uses it; an empty one removes it.
void installPairRunner(PairRunner runner);

// Whether a runner is installed: splitting work pays only then.
bool pairRunnerInstalled();

// Runs both pieces through the runner, or in turn. An exception from a piece is rethrown here once
// both are done (the first piece's when both throw).
void runPair(const std::function<void()>& first, const std::function<void()>& second);

}  // namespace numbrel
