#include "store/meter_record.h"

namespace numbrel {

std::string registerFormula(const Value& meter) {
    std::int64_t enabled = integerOf(meter, "enabled", 1);
    std::int64_t economy7 = integerOf(meter, "economy7");
    std::int64_t minus = integerOf(meter, "minus");
    if (enabled == 2) {
        if (economy7 == 2) return "Day + Night";
        if (economy7 == 1) return "Night + Day";
        if (minus == 2) return "R1 - R2";
        return "R1 + R2";
    }
    if (enabled == 3) {
        if (minus == 3) return "R1 + R2 - R3";
        if (minus == 2) return "R1 - R2 + R3";
        return "R1 + R2 + R3";
    }
    return "";
}

const Array* readingsOf(const Value& meter) {
    return arrayOf(meter, "readings");
}

}  // namespace numbrel
