// Graph series and layout over a meter with 10 years of daily readings, 3 registers and 5 rate
// changes: each period kind, usage and cost, upright and the "Max" range.
#include <benchmark/benchmark.h>

#include "bench_documents.h"
#include "costs/engine.h"
#include "costs/formatter.h"
#include "main/graph_layout.h"
#include "store/calendar.h"
#include "store/environment.h"

namespace numbrel::bench {
namespace {

struct Fixture {
    Environment env{"en_GB", "Europe/London", fixedClock(Date{815000000.0})};
    Calendar calendar{env};
    Formatter formatter{env};
    Value doc = largeDocument(1, 3650);
    Fixture() { doc.find("settings")->array()[0].set("enabled", 3); }
};

Fixture& fixture() {
    static Fixture f;
    return f;
}

// Arguments: period (0-4), cost (0/1), "Max" range (0/1).
void Series(benchmark::State& state) {
    Fixture& f = fixture();
    Engine engine(f.doc, f.calendar);
    SeriesRequest r;
    r.period = static_cast<Period>(state.range(0));
    r.cost = state.range(1) != 0;
    r.maxPoints = state.range(2) ? 0 : pointCount(r.period, 2, false).maxPoints;
    std::size_t points = 0;
    for (auto _ : state) {
        GraphSeries s = buildSeries(f.doc, engine, f.formatter, f.calendar, r);
        points = s.points.size();
        benchmark::DoNotOptimize(s);
    }
    state.counters["points"] = static_cast<double>(points);
}
BENCHMARK(Series)
    ->ArgsProduct({{0, 1, 2, 3, 4}, {0, 1}, {0, 1}})
    ->ArgNames({"period", "cost", "max"})
    ->Unit(benchmark::kMicrosecond);

void Layout(benchmark::State& state) {
    Fixture& f = fixture();
    Engine engine(f.doc, f.calendar);
    SeriesRequest r;
    r.period = static_cast<Period>(state.range(0));
    r.maxPoints = pointCount(r.period, 2, false).maxPoints;
    GraphSeries s = buildSeries(f.doc, engine, f.formatter, f.calendar, r);
    LayoutRequest layout;
    layout.period = r.period;
    layout.average = seriesAverage(s, engine, r, false);
    const Value& meter = f.doc.find("settings")->array()[0];
    FixedAdvanceMeasurer measurer;
    for (auto _ : state)
        benchmark::DoNotOptimize(layoutGraph(s, meter, layout, f.formatter, f.env, measurer));
}
BENCHMARK(Layout)->DenseRange(0, 4)->ArgName("period")->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace numbrel::bench

BENCHMARK_MAIN();
