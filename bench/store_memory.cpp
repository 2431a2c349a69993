// Peak resident memory of a process that loads, validates and saves a 10-meter, 10-year store.
// Usage: bench_store_memory [STORE]  (generates the store first when none is given)
#include <sys/resource.h>

#include <cstdio>
#include <filesystem>

#include "bench_documents.h"
#include "store/app_delegate.h"

int main(int argc, char** argv) {
    using namespace numbrel;
    std::string path =
        argc > 1 ? argv[1] : (std::filesystem::temp_directory_path() / "numbrel-memory.plist").string();
    if (argc <= 1) {
        bench::writeLargeStore(path);
        // Start measuring from here: the generator's own peak is not the app's.
        std::printf("generated %s (%ju bytes); run again with it as argument to measure\n", path.c_str(),
                    static_cast<std::uintmax_t>(std::filesystem::file_size(path)));
        return 0;
    }
    PreferencesStore store(path);
    NumbrelAppDelegate app(Environment("en_GB", "Europe/London", fixedClock(Date{815000000.0})), store);
    app.applicationDidFinishLaunching();
    app.settings().set("meter", 1);
    if (auto error = app.applicationDidEnterBackground()) {
        std::fprintf(stderr, "save failed: %s\n", error->c_str());
        return 1;
    }
    struct rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("peak resident memory: %.1f MB\n", usage.ru_maxrss / 1024.0);
    return 0;
}
