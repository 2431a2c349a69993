// libFuzzer harness for reading an export back: any file either verifies, and then merges into the
// document keeping every meter's readings newest first, or is refused with a message.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "costs/formatter.h"
#include "exchange/export_import.h"
#include "store/document.h"
#include "store/environment.h"

using namespace numbrel;

namespace {

Value document() {
    auto meter = [](const char* name, int registers) {
        return Value::makeDictionary(
            {{"name", name},
             {"enabled", registers},
             {"readings", Value(Array{Value::makeDictionary(
                              {{"date", Date{815000000.25}}, {"reading", Value(Array{1.0, 0.0, 0.0})}})})}});
    };
    return Value::makeDictionary(
        {{"settings", Value(Array{meter("Gas", 1), meter("Électricité", 2), meter("Gas", 3)})}});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Environment env("en_GB", "Europe/London", fixedClock(Date{815000000.0}));
    static const Formatter formatter(env);
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    exportLayout(bytes);
    CsvVerification v = verifyExport(bytes, document(), env, formatter);
    if (v.outcome == CsvVerification::Outcome::Corrupt && v.message.empty()) std::abort();
    if (v.outcome != CsvVerification::Outcome::Verified) return 0;
    Value doc = document();
    mergeExport(doc, v.rows, formatter);
    for (const Value& meter : *metersOf(doc)) {
        const Array& readings = meter.find("readings")->array();
        for (std::size_t i = 1; i < readings.size(); ++i)
            if (readings[i - 1].find("date")->date() < readings[i].find("date")->date()) std::abort();
    }
    return 0;
}
