// Backups and CSV import of a 10-meter, 10-year household: writing a backup, restoring it (read, check,
// validate), and verifying and merging CSV files of 10 thousand to a million rows into one meter.
// Reading an archive, verifying a large file and making many new readings use two threads: those
// figures are wall-clock times.
#include <benchmark/benchmark.h>

#include <malloc.h>

#include <filesystem>

#include "bench_documents.h"
#include "exchange/backup.h"
#include "exchange/csv_import.h"
#include "plist/keyed_archive.h"
#include "store/app_delegate.h"
#include "store/file_ops.h"

namespace numbrel::bench {
namespace {

Environment environment() {
    return Environment("en_GB", "Europe/London", fixedClock(Date{815000000.0}));
}

struct Household {
    std::filesystem::path dir = std::filesystem::temp_directory_path() / "numbrel-bench-exchange";
    PreferencesStore store{(dir / "p.plist").string()};
    NumbrelAppDelegate app{environment(), store};
    Household() {
        std::filesystem::create_directories(dir);
        app.setSettings(largeDocument());
    }
};

void BackupWrite(benchmark::State& state) {
    Household h;
    std::string docs = (h.dir / "Documents").string();
    for (auto _ : state) {
        NumbrelAppDelegate::Backup b = h.app.localBackup(docs);
        if (b.error) state.SkipWithError(b.error->c_str());
    }
    state.counters["file_bytes"] = static_cast<double>(
        std::filesystem::file_size(docs + "/" + stringOf(h.app.settings(), "filename").data()));
}
BENCHMARK(BackupWrite)->Unit(benchmark::kMillisecond)->UseRealTime();

void Restore(benchmark::State& state) {
    Household h;
    std::string docs = (h.dir / "Documents").string();
    NumbrelAppDelegate::Backup b = h.app.localBackup(docs);
    std::string path = docs + "/" + b.name;
    for (auto _ : state) {
        std::string error;
        std::optional<std::string> bytes = readWholeFile(path, error);
        RestoreCheck check = checkBackup(*bytes, integerOf(h.app.settings(), "version"));
        if (check.outcome != RestoreOutcome::Restored) state.SkipWithError("not restored");
        h.app.setSettings(std::move(check.document), std::move(check.fingerprint));  // validates
        benchmark::DoNotOptimize(h.app.settings());
    }
}
BENCHMARK(Restore)->Unit(benchmark::kMillisecond)->UseRealTime();

// The parts of a restore, each alone.
void RestoreReadArchive(benchmark::State& state) {
    std::string bytes = writeKeyedArchive(largeDocument());
    for (auto _ : state)
        benchmark::DoNotOptimize(readKeyedArchive(bytes));
}
BENCHMARK(RestoreReadArchive)->Unit(benchmark::kMillisecond)->UseRealTime();

// The backup hash and the change fingerprint, from one description.
void RestoreDigests(benchmark::State& state) {
    Value doc = largeDocument();
    for (auto _ : state)
        benchmark::DoNotOptimize(documentDigests(doc));
}
BENCHMARK(RestoreDigests)->Unit(benchmark::kMillisecond)->UseRealTime();

// Replacing the document with one whose fingerprint is known: validation and freeing the old one.
void RestoreValidate(benchmark::State& state) {
    Household h;
    const Value doc = h.app.settings();  // validated already, as a backup of it is
    const std::string fingerprint = documentDigests(doc).fingerprint;
    for (auto _ : state) {
        state.PauseTiming();
        Value copy = doc;
        state.ResumeTiming();
        h.app.setSettings(std::move(copy), fingerprint);
    }
}
BENCHMARK(RestoreValidate)->Unit(benchmark::kMillisecond);

void BackupArchiveOnly(benchmark::State& state) {
    Value doc = largeDocument();
    for (auto _ : state)
        benchmark::DoNotOptimize(writeKeyedArchive(doc));
}
BENCHMARK(BackupArchiveOnly)->Unit(benchmark::kMillisecond);

// rows readings for the first meter, five minutes apart from 2016 on, skipping 01:00-01:59 (where the
// clocks go forward once a year), with seconds.
std::string csvFile(int rows) {
    std::string out;  // no header: after a header only dates without seconds are read
    out.reserve(static_cast<std::size_t>(rows) * 48);
    int y = 2016, mo = 1, d = 1, minute = 0;
    static const int days[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    char line[96];
    for (int i = 0; i < rows;) {
        int h = minute / 60, m = minute % 60;
        if (h != 1) {
            std::snprintf(line, sizeof line, "Meter 1,%02d/%02d/%04d %02d:%02d:00,%d.5,0,0\n", d, mo, y, h, m,
                          i);
            out += line;
            ++i;
        }
        minute += 5;
        if (minute == 24 * 60) {
            minute = 0;
            bool leap = y % 4 == 0;
            if (++d > days[mo - 1] + (mo == 2 && leap)) {
                d = 1;
                if (++mo > 12) {
                    mo = 1;
                    ++y;
                }
            }
        }
    }
    return out;
}

void CsvImport(benchmark::State& state) {
    const int rows = static_cast<int>(state.range(0));
    const std::string file = csvFile(rows);
    const Value base = largeDocument();
    const Environment env = environment();
    for (auto _ : state) {
        state.PauseTiming();
        Value doc = base;
        state.ResumeTiming();
        CsvVerification v = verifyCsv(file, doc, env, ".");
        if (v.outcome != CsvVerification::Outcome::Verified) {
            state.SkipWithError(v.message.c_str());
            break;
        }
        mergeRows(doc, v.rows);
        benchmark::DoNotOptimize(doc);
        state.PauseTiming();
        doc = Value();
        malloc_trim(0);  // the freed document is tidied away here, not in the next import
        state.ResumeTiming();
    }
    state.counters["rows"] = rows;
    state.counters["ns_per_row"] =
        benchmark::Counter(static_cast<double>(rows),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(CsvImport)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond)->UseRealTime();

// The two halves of an import of a million rows.
void CsvVerifyOnly(benchmark::State& state) {
    const std::string file = csvFile(1000000);
    const Value doc = largeDocument();
    const Environment env = environment();
    for (auto _ : state)
        benchmark::DoNotOptimize(verifyCsv(file, doc, env, "."));
}
BENCHMARK(CsvVerifyOnly)->Unit(benchmark::kMillisecond)->UseRealTime();

void CsvMergeOnly(benchmark::State& state) {
    const Value base = largeDocument();
    const CsvVerification v = verifyCsv(csvFile(1000000), base, environment(), ".");
    for (auto _ : state) {
        state.PauseTiming();
        Value doc = base;
        state.ResumeTiming();
        mergeRows(doc, v.rows);
        state.PauseTiming();
        doc = Value();
        malloc_trim(0);  // the freed document is tidied away here, not in the next import
        state.ResumeTiming();
    }
}
BENCHMARK(CsvMergeOnly)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace numbrel::bench

BENCHMARK_MAIN();
