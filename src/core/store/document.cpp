#include "store/document.h"

#include "ui/localize.h"

namespace numbrel {

Value newDocument() {
    return Value::makeDictionary({{"settings", Value::emptyArray()}, {"black", false}});
}

Value legacyTariff() {
    return Value::makeDictionary({{"unit", 0.0}, {"initial", 0.0}, {"period", "day"}, {"remainder", 0.0}});
}

Value defaultMeters() {
    Array meters;
    // The meters are named in the user's language; their types are the keys the rest of the system reads.
    for (const char* type : {N_("Electricity"), N_("Gas"), N_("Water")}) {
        std::string_view units = std::string_view(type) == "Water" ? "m³" : "kWh";
        meters.push_back(Value::makeDictionary({
            {"name", tr(type)},
            {"type", type},
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
