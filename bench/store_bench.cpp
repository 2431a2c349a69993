// Loading, validating and saving the store of a 10-meter, 10-year household.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <memory>

#include "bench_documents.h"
#include "plist/binary_plist.h"
#include "store/app_delegate.h"

namespace numbrel::bench {
namespace {

std::string storePath() {
    static const std::string path = [] {
        std::string p = (std::filesystem::temp_directory_path() / "numbrel-bench-store.plist").string();
        writeLargeStore(p);
        return p;
    }();
    return path;
}

Environment environment() {
    return Environment("en_GB", "Europe/London", fixedClock(Date{815000000.0}));
}

void LoadAndValidate(benchmark::State& state) {
    std::string path = storePath();
    state.counters["file_bytes"] = static_cast<double>(std::filesystem::file_size(path));
    for (auto _ : state) {
        auto store = std::make_unique<PreferencesStore>(path);
        auto app = std::make_unique<NumbrelAppDelegate>(environment(), *store);
        app->applicationDidFinishLaunching();
        benchmark::DoNotOptimize(app->md5());
        // Tearing the document down is not part of loading it.
        state.PauseTiming();
        app.reset();
        store.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(LoadAndValidate)->Unit(benchmark::kMillisecond);

void Save(benchmark::State& state) {
    std::string path = storePath() + ".save";
    std::filesystem::copy_file(storePath(), path, std::filesystem::copy_options::overwrite_existing);
    PreferencesStore store(path);
    NumbrelAppDelegate app(environment(), store);
    app.applicationDidFinishLaunching();
    int i = 0;
    for (auto _ : state) {
        // A new reading each time, so that every save writes the file.
        app.settings().find("settings")->array()[0].find("readings")->array()[0].find("reading")->array()[2] =
            Value(static_cast<double>(++i));
        if (auto error = app.applicationDidEnterBackground()) state.SkipWithError(error->c_str());
    }
}
BENCHMARK(Save)->Unit(benchmark::kMillisecond);

void ReadPlistOnly(benchmark::State& state) {
    std::string bytes = writeBinaryPlist(largeDocument());
    for (auto _ : state)
        benchmark::DoNotOptimize(readBinaryPlist(bytes));
}
BENCHMARK(ReadPlistOnly)->Unit(benchmark::kMillisecond);

void WritePlistOnly(benchmark::State& state) {
    Value doc = largeDocument();
    for (auto _ : state)
        benchmark::DoNotOptimize(writeBinaryPlist(doc));
}
BENCHMARK(WritePlistOnly)->Unit(benchmark::kMillisecond);

void Fingerprint(benchmark::State& state) {
    Value doc = largeDocument();
    for (auto _ : state)
        benchmark::DoNotOptimize(MD5StringOfSettings(doc));
}
BENCHMARK(Fingerprint)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace numbrel::bench

BENCHMARK_MAIN();
