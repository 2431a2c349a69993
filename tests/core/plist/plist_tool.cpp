// Test helper: reads a binary property list and writes it back (or as a keyed archive), reads a keyed
// archive into a plain property list, or prints a description, so that scripts can check the codecs
// against other implementations.
#include <iostream>
#include <string>

#include "plist/binary_plist.h"
#include "plist/description.h"
#include "plist/keyed_archive.h"
#include "support/test_support.h"

int main(int argc, char** argv) {
    using namespace numbrel;
    if (argc < 3) {
        std::cerr
            << "usage: plist_tool (roundtrip IN OUT | archive IN OUT | unarchive IN OUT | describe IN)\n";
        return 1;
    }
    std::string command = argv[1];
    PlistResult r = command == "unarchive" ? readKeyedArchive(test::readFile(argv[2]))
                                           : readBinaryPlist(test::readFile(argv[2]));
    if (!r.ok()) {
        std::cerr << "error: " << r.error << "\n";
        return 2;
    }
    if (command == "describe") {
        std::cout << description(r.value) << "\n";
    } else if ((command == "roundtrip" || command == "unarchive") && argc == 4) {
        test::writeFile(argv[3], writeBinaryPlist(r.value));
    } else if (command == "archive" && argc == 4) {
        test::writeFile(argv[3], writeKeyedArchive(r.value));
    } else {
        return 1;
    }
    return 0;
}
