// The readings list model of a 3,650-reading meter, and the CSV export of 10 meters x 3,650 readings.
#include <benchmark/benchmark.h>

#include "bench_documents.h"
#include "costs/formatter.h"
#include "readings/csv_export.h"
#include "readings/readings_view_controller.h"
#include "store/app_delegate.h"

namespace numbrel::bench {
namespace {

class NullNavigator : public Navigator {
public:
    void push(std::unique_ptr<Screen>) override {}
    void pop() override {}
    void present(const Alert&) override {}
    void dismiss() override {}
    void openUrl(const std::string&) override {}
};

struct Fixture {
    PreferencesStore store{"/nonexistent/numbrel-bench.plist"};
    NumbrelAppDelegate app{Environment("en_GB", "Europe/London", fixedClock(Date{815000000.0})), store};
    Fixture() { app.setSettings(largeDocument()); }
};

Fixture& fixture() {
    static Fixture f;
    return f;
}

void ReadingsList(benchmark::State& state) {
    Fixture& f = fixture();
    NullNavigator nav;
    ReadingsViewController list(f.app, nav, 1);  // a two-register meter
    list.periodAction(static_cast<int>(state.range(0)));
    std::size_t rows = 0;
    for (auto _ : state) {
        auto sections = list.sections();
        rows = 0;
        for (const auto& s : sections)
            rows += s.rows.size();
        benchmark::DoNotOptimize(sections);
    }
    state.counters["rows"] = static_cast<double>(rows);
}
BENCHMARK(ReadingsList)->Arg(0)->Arg(3)->Unit(benchmark::kMillisecond);

void ExportAllMeters(benchmark::State& state) {
    Fixture& f = fixture();
    std::size_t bytes = 0;
    for (auto _ : state) {
        // A fresh formatter each time: the first export of a session, with nothing remembered.
        Formatter formatter(f.app.environment());
        CsvFile file = exportCsv(f.app.settings(), f.app.engine(), formatter, std::nullopt);
        bytes = file.bytes.size();
        benchmark::DoNotOptimize(file);
    }
    state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(ExportAllMeters)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace numbrel::bench

BENCHMARK_MAIN();
