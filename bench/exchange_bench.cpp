// Backups and CSV import of a 10-meter, 10-year household: writing a backup, restoring it (read, check,
// validate), and verifying and merging CSV files of 10 thousand to a million rows into one meter, each
// beside an anchor measured in the same run: Debian's libplist reading the same backup, a plain C++
// loop that splits the same CSV file and converts its numbers, and Python's csv module doing the same.
#include <benchmark/benchmark.h>

#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "bench_documents.h"
#include "exchange/backup.h"
#include "exchange/csv_import.h"
#include "plist/keyed_archive.h"
#include "store/app_delegate.h"
#include "store/file_ops.h"

#ifdef NUMBREL_BENCH_LIBPLIST
#include <plist/plist.h>
#endif

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
BENCHMARK(BackupWrite)->Unit(benchmark::kMillisecond);

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
BENCHMARK(Restore)->Unit(benchmark::kMillisecond);

#ifdef NUMBREL_BENCH_LIBPLIST
// The anchor of a restore: the same backup file read by Debian's libplist, every node visited, and
// freed (it only parses: no archive is unfolded, no hash checked, nothing validated).
std::uint64_t visit(plist_t node) {
    std::uint64_t seen = 1;
    switch (plist_get_node_type(node)) {
        case PLIST_ARRAY: {
            // By its iterator: plist_array_get_item walks the list from the start every time.
            plist_array_iter it = nullptr;
            plist_array_new_iter(node, &it);
            for (;;) {
                plist_t item = nullptr;
                plist_array_next_item(node, it, &item);
                if (!item) break;
                seen += visit(item);
            }
            std::free(it);
            break;
        }
        case PLIST_DICT: {
            plist_dict_iter it = nullptr;
            plist_dict_new_iter(node, &it);
            for (;;) {
                char* key = nullptr;
                plist_t value = nullptr;
                plist_dict_next_item(node, it, &key, &value);
                if (!value) break;
                std::free(key);
                seen += visit(value);
            }
            std::free(it);
            break;
        }
        case PLIST_REAL: {
            double d = 0;
            plist_get_real_val(node, &d);
            benchmark::DoNotOptimize(d);
            break;
        }
        case PLIST_UINT: {
            uint64_t u = 0;
            plist_get_uint_val(node, &u);
            benchmark::DoNotOptimize(u);
            break;
        }
        default:
            break;
    }
    return seen;
}

void AnchorLibplistRestore(benchmark::State& state) {
    Household h;
    std::string docs = (h.dir / "Documents").string();
    NumbrelAppDelegate::Backup b = h.app.localBackup(docs);
    std::string path = docs + "/" + b.name;
    std::uint64_t nodes = 0;
    for (auto _ : state) {
        std::string error;
        std::optional<std::string> bytes = readWholeFile(path, error);
        plist_t root = nullptr;
        plist_from_bin(bytes->data(), static_cast<uint32_t>(bytes->size()), &root);
        if (!root) state.SkipWithError("libplist could not read the backup");
        nodes = visit(root);
        plist_free(root);
    }
    state.counters["nodes"] = static_cast<double>(nodes);
}
BENCHMARK(AnchorLibplistRestore)->Unit(benchmark::kMillisecond);
#endif

// The parts of a restore, each alone.
void RestoreReadArchive(benchmark::State& state) {
    std::string bytes = writeKeyedArchive(largeDocument());
    for (auto _ : state)
        benchmark::DoNotOptimize(readKeyedArchive(bytes));
}
BENCHMARK(RestoreReadArchive)->Unit(benchmark::kMillisecond);

// The backup hash and the change fingerprint, from one description.
void RestoreDigests(benchmark::State& state) {
    Value doc = largeDocument();
    for (auto _ : state)
        benchmark::DoNotOptimize(documentDigests(doc));
}
BENCHMARK(RestoreDigests)->Unit(benchmark::kMillisecond);

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

// A CSV file of rows readings on disk, for the import and its anchors to read alike.
std::string csvPath(int rows) {
    const std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("numbrel-bench-" + std::to_string(rows) + ".csv");
    if (!std::filesystem::exists(path)) {
        std::ofstream out(path, std::ios::binary);
        out << csvFile(rows);
    }
    return path.string();
}

void CsvImport(benchmark::State& state) {
    const int rows = static_cast<int>(state.range(0));
    const std::string path = csvPath(rows);
    const Value base = largeDocument();
    const Environment env = environment();
    for (auto _ : state) {
        state.PauseTiming();
        Value doc = base;
        state.ResumeTiming();
        std::string error;
        const std::string file = readWholeFile(path, error).value_or("");  // as the backups screen reads it
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
BENCHMARK(CsvImport)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);

// The anchor of an import: the plain C++ loop over the same file, lines by std::getline, fields split
// on commas by std::getline, the three readings converted with strtod (no dates, no meters, no checks,
// no merge).
void AnchorPlainCsvLoop(benchmark::State& state) {
    const std::string path = csvPath(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        std::ifstream in(path);
        std::string line, field;
        double sum = 0;
        while (std::getline(in, line)) {
            std::vector<std::string> fields;
            std::istringstream split(line);
            while (std::getline(split, field, ','))
                fields.push_back(field);
            for (std::size_t k = 2; k < fields.size(); ++k)
                sum += std::strtod(fields[k].c_str(), nullptr);
        }
        benchmark::DoNotOptimize(sum);
    }
}
BENCHMARK(AnchorPlainCsvLoop)->Arg(1000000)->Unit(benchmark::kMillisecond);

// The same loop tuned by hand (find and substr, one vector of fields): a harder reference.
void AnchorTunedCsvLoop(benchmark::State& state) {
    const std::string path = csvPath(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        std::ifstream in(path);
        std::string line;
        double sum = 0;
        std::vector<std::string> fields;
        while (std::getline(in, line)) {
            fields.clear();
            std::size_t start = 0;
            for (std::size_t comma; (comma = line.find(',', start)) != std::string::npos; start = comma + 1)
                fields.push_back(line.substr(start, comma - start));
            fields.push_back(line.substr(start));
            for (std::size_t k = 2; k < fields.size(); ++k)
                sum += std::strtod(fields[k].c_str(), nullptr);
        }
        benchmark::DoNotOptimize(sum);
    }
}
BENCHMARK(AnchorTunedCsvLoop)->Arg(1000000)->Unit(benchmark::kMillisecond);

// The second anchor: Python's csv module reading the same file and converting the readings, timed
// inside the interpreter (its start is not counted).
void AnchorPythonCsv(benchmark::State& state) {
    const std::string path = csvPath(static_cast<int>(state.range(0)));
    const std::string command =
        "python3 -c \"import csv,sys,time\n"
        "t=time.perf_counter()\n"
        "s=0.0\n"
        "with open(sys.argv[1], newline='') as f:\n"
        "    for row in csv.reader(f):\n"
        "        s+=float(row[2])+float(row[3])+float(row[4])\n"
        "print(time.perf_counter()-t)\" " +
        path;
    for (auto _ : state) {
        FILE* python = popen(command.c_str(), "r");
        double seconds = 0;
        if (!python || std::fscanf(python, "%lf", &seconds) != 1) {
            if (python) pclose(python);
            state.SkipWithError("python3 did not run");
            break;
        }
        pclose(python);
        state.SetIterationTime(seconds);
    }
}
BENCHMARK(AnchorPythonCsv)->Arg(1000000)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(3);

// The two halves of an import of a million rows.
void CsvVerifyOnly(benchmark::State& state) {
    const std::string file = csvFile(1000000);
    const Value doc = largeDocument();
    const Environment env = environment();
    for (auto _ : state)
        benchmark::DoNotOptimize(verifyCsv(file, doc, env, "."));
}
BENCHMARK(CsvVerifyOnly)->Unit(benchmark::kMillisecond);

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
BENCHMARK(CsvMergeOnly)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace numbrel::bench

BENCHMARK_MAIN();
