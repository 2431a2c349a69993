// Helper for the crash test: saves two different documents to the store in turn, for ever, until
// it is killed.
#include <unistd.h>

#include <cstdio>
#include <string>

#include "save_child_documents.h"
#include "store/preferences_store.h"

int main(int argc, char** argv) {
    if (argc != 2) return 1;
    numbrel::PreferencesStore store(argv[1]);
    store.load(numbrel::Date{});
    const numbrel::Value docs[] = {numbrel::test::crashTestDocument(0), numbrel::test::crashTestDocument(1)};
    // Tell the parent that saving starts now, so that its kills fall inside the save cycle.
    if (::write(STDOUT_FILENO, "r", 1) != 1) return 3;
    for (unsigned i = 0;; ++i) {
        static constexpr std::string_view kKeys[] = {"generation", "settings"};
        if (auto error = store.write(docs[i % 2], kKeys)) {
            std::fprintf(stderr, "%s\n", error->c_str());
            return 2;
        }
    }
}
