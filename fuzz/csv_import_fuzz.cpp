// libFuzzer harness for CSV verification and merging: any file either verifies, and then merges into
// the document keeping every meter's readings newest first, or is refused with a message.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "exchange/csv_import.h"
#include "store/document.h"
#include "store/environment.h"

using namespace numbrel;

namespace {

Value document() {
    auto meter = [](const char* name) {
        return Value::makeDictionary(
            {{"name", name},
             {"readings", Value(Array{Value::makeDictionary(
                              {{"date", Date{700000000.0}}, {"reading", Value(Array{1.0, 0.0, 0.0})}})})}});
    };
    return Value::makeDictionary(
        {{"settings", Value(Array{meter("Gas"), meter("Electricity"), meter("Gas")})}});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Environment env("en_GB", "Europe/London", fixedClock(Date{815000000.0}));
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    CsvVerification v = verifyCsv(bytes, document(), env, ".");
    if (v.outcome == CsvVerification::Outcome::Corrupt && v.message.empty()) std::abort();
    if (v.outcome != CsvVerification::Outcome::Verified) return 0;
    Value doc = document();
    mergeRows(doc, v.rows);
    for (const Value& meter : *metersOf(doc)) {
        const Array& readings = meter.find("readings")->array();
        for (std::size_t i = 1; i < readings.size(); ++i)
            if (readings[i - 1].find("date")->date() < readings[i].find("date")->date()) std::abort();
    }
    return 0;
}
