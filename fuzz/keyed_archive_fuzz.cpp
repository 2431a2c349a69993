// libFuzzer harness for the keyed-archive reader (backups come from anywhere): any input is an error
// or a value that archives and reads back to itself.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "plist/keyed_archive.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    numbrel::PlistResult r = numbrel::readKeyedArchive(bytes);
    if (!r.ok()) return 0;
    numbrel::PlistResult again = numbrel::readKeyedArchive(numbrel::writeKeyedArchive(r.value));
    if (!again.ok() || !(again.value == r.value)) std::abort();
    return 0;
}
