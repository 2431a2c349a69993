// libFuzzer harness for the XML property-list reader: any text is an error or a value that, written in
// binary form, reads back to itself.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "plist/binary_plist.h"
#include "plist/xml_plist.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    numbrel::PlistResult r = numbrel::readXmlPlist(text);
    if (!r.ok()) {
        return 0;
    }
    numbrel::PlistResult again = numbrel::readBinaryPlist(numbrel::writeBinaryPlist(r.value));
    if (!again.ok() || !(again.value == r.value)) std::abort();
    return 0;
}
