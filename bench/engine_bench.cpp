// The cost engine over a 3-register meter with 10 years of daily readings, monthly stepped tariffs and
// five rate changes. Heap allocations are counted: the engine must make none.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "bench_documents.h"
#include "costs/engine.h"
#include "store/calendar.h"
#include "store/environment.h"

namespace {
std::atomic<long> allocations{0};
}

// Counting replacements of the global allocation functions (malloc and free underneath).
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(std::size_t size) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
#pragma GCC diagnostic pop

namespace numbrel::bench {
namespace {

struct Fixture {
    Environment env{"en_GB", "Europe/London", fixedClock(Date{815000000.0})};
    Calendar calendar{env};
    Value doc = largeDocument(1, 3650);
    Fixture() {
        Value& meter = doc.find("settings")->array()[0];
        meter.set("enabled", 3);
        Array& tariffs = meter.find("tariffs")->array();
        for (Value& t : tariffs) {
            t.set("monthly", true);
            t.set("stepped", true);
        }
    }
    int readings() { return static_cast<int>(doc.find("settings")->array()[0].find("readings")->size()); }
};

Fixture& fixture() {
    static Fixture f;
    return f;
}

void AllPairCosts(benchmark::State& state) {
    Fixture& f = fixture();
    Engine engine(f.doc, f.calendar);
    int n = f.readings();
    long before = allocations.load();
    for (auto _ : state) {
        double sum = 0;
        for (int i = n - 1; i >= 1; --i)
            sum += engine.cost(0, 0, i, i - 1);
        benchmark::DoNotOptimize(sum);
    }
    state.counters["allocations_per_call"] = static_cast<double>(allocations.load() - before) /
                                             (static_cast<double>(state.iterations()) * (n - 1));
}
BENCHMARK(AllPairCosts)->Unit(benchmark::kMillisecond);

void WholeSpanCost(benchmark::State& state) {
    Fixture& f = fixture();
    Engine engine(f.doc, f.calendar);
    int n = f.readings();
    long before = allocations.load();
    for (auto _ : state)
        benchmark::DoNotOptimize(engine.cost(0, 0, n - 1, 0));
    state.counters["allocations_per_call"] =
        static_cast<double>(allocations.load() - before) / static_cast<double>(state.iterations());
}
BENCHMARK(WholeSpanCost)->Unit(benchmark::kMillisecond);

void UsageOverAYear(benchmark::State& state) {
    Fixture& f = fixture();
    Engine engine(f.doc, f.calendar);
    for (auto _ : state)
        benchmark::DoNotOptimize(engine.usage(0, 0, engine.yearAgo(0), 0));
}
BENCHMARK(UsageOverAYear)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace numbrel::bench

BENCHMARK_MAIN();
