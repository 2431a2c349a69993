#include "bench_documents.h"

#include <fstream>

#include "plist/binary_plist.h"
#include "store/document.h"

namespace numbrel::bench {

namespace {

Value tariff(bool stepped, bool monthly) {
    Array steps;
    for (int i = 0; i < 12; ++i)
        steps.push_back(Value::makeDictionary(
            {{"rate", 0.10 + 0.01 * i}, {"units", stepped && i < 2 ? 100.0 : 0.0}, {"period", "month"}}));
    return Value::makeDictionary(
        {{"rates", Value(std::move(steps))}, {"stepped", stepped}, {"monthly", monthly}});
}

}  // namespace

Value largeDocument(int meters, int days) {
    const double newest = 815000000.0;  // late 2026
    Array list;
    for (int m = 0; m < meters; ++m) {
        Array readings;
        readings.reserve(static_cast<std::size_t>(days));
        for (int d = 0; d < days; ++d) {
            Value r = Value::makeDictionary(
                {{"date", Date{newest - 86400.0 * d + 60.0 * m}},
                 {"reading", Value(Array{Value(50000.0 - 8.5 * d), Value(m % 3 ? 20000.0 - 3.25 * d : 0.0),
                                         Value(0.0)})}});
            if (d % 90 == 0) r.set("ticked", true);
            readings.push_back(std::move(r));
        }
        Array previous;
        for (int p = 1; p <= 5; ++p)
            previous.push_back(Value::makeDictionary(
                {{"fixed", 0.2 + 0.01 * p},
                 {"period", "day"},
                 {"tariffs", Value(Array{tariff(true, true), tariff(false, false), tariff(true, false)})},
                 {"discount", 0.0},
                 {"period2", "day"},
                 {"percent", 0.0},
                 {"tax", 5.0},
                 {"to", Date{newest - 86400.0 * 600 * p}}}));
        list.push_back(Value::makeDictionary({
            {"name", "Meter " + std::to_string(m)},
            {"type", m % 2 ? "Gas" : "Electricity"},
            {"units", "kWh"},
            {"factor", 1.0},
            {"digits", 6},
            {"precision", 2},
            {"enabled", m % 3 ? 2 : 1},
            {"economy7", 0},
            {"code", "GBP"},
            {"tax", 5.0},
            {"percent", 0.0},
            {"discount", 0.0},
            {"period2", "day"},
            {"fixed", 0.25},
            {"period", "day"},
            {"postcode", ""},
            {"house", ""},
            {"tariffs", Value(Array{tariff(true, true), tariff(false, false), tariff(true, false)})},
            {"previous", Value(std::move(previous))},
            {"readings", Value(std::move(readings))},
        }));
    }
    Value doc = newDocument();
    doc.set("settings", Value(std::move(list)));
    doc.set("new", true);
    doc.set("version", 420);
    return doc;
}

void writeLargeStore(const std::string& path) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << writeBinaryPlist(largeDocument());
}

}  // namespace numbrel::bench
