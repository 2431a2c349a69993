// libFuzzer harness for the binary property-list reader: any input is an error or a value that
// writes and reads back to itself.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "plist/binary_plist.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    numbrel::PlistResult r = numbrel::readBinaryPlist(bytes);
    if (!r.ok()) return 0;
    numbrel::PlistResult again = numbrel::readBinaryPlist(numbrel::writeBinaryPlist(r.value));
    if (!again.ok() || !(again.value == r.value)) std::abort();
    return 0;
}
