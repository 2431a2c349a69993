#include "store/document.h"

namespace numbrel {

Value newDocument() {
    return Value::makeDictionary({{"settings", Value::emptyArray()}, {"black", false}});
}

Value legacyTariff() {
    return Value::makeDictionary({{"unit", 0.0}, {"initial", 0.0}, {"period", "day"}, {"remainder", 0.0}});
}

Value defaultMeters() {
    Array meters;
    for (const char* name : {"Electricity", "Gas", "Water"}) {
        std::string_view units = std::string_view(name) == "Water" ? "m³" : "kWh";
        meters.push_back(Value::makeDictionary({
            {"name", name},
            {"type", name},
            {"units", units},
            {"factor", 1.0},
            {"digits", 5},
            {"precision", 1},
            {"enabled", 1},
            {"tax", 0.0},
            {"percent", 0.0},
            {"discount", 0.0},
            {"period2", "day"},
            {"fixed", 0.0},
            {"period", "day"},
            {"readings", Value::emptyArray()},
            {"tariffs", Value(Array{legacyTariff(), legacyTariff(), legacyTariff()})},
        }));
    }
    return Value(std::move(meters));
}

const Array* metersOf(const Value& document) {
    return arrayOf(document, "settings");
}
Array* metersOf(Value& document) {
    return arrayOf(document, "settings");
}

}  // namespace numbrel
