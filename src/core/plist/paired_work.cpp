#include "plist/paired_work.h"

#include <exception>
#include <utility>

namespace numbrel {

namespace {

PairRunner& installed() {
    static PairRunner runner;
    return runner;
}

}  // namespace

void installPairRunner(PairRunner runner) {
    installed() = std::move(runner);
}

bool pairRunnerInstalled() {
    return static_cast<bool>(installed());
}

void runPair(const std::function<void()>& first, const std::function<void()>& second) {
    std::exception_ptr firstThrew, secondThrew;
    // A runner sees pieces that never throw: what a piece throws comes back on this thread.
    auto guarded = [](const std::function<void()>& piece, std::exception_ptr& thrown) {
        return [&piece, &thrown] {
            try {
                piece();
            } catch (...) {
                thrown = std::current_exception();
            }
        };
    };
    const std::function<void()> a = guarded(first, firstThrew), b = guarded(second, secondThrew);
    if (installed()) {
        installed()(a, b);
    } else {
        a();
        b();
    }
    if (firstThrew) std::rethrow_exception(firstThrew);
    if (secondThrew) std::rethrow_exception(secondThrew);
}

}  // namespace numbrel
