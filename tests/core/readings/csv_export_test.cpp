#include "readings/csv_export.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "costs/engine.h"
#include "costs/formatter.h"
#include "store/calendar.h"
#include "store/document.h"
#include "store/validation.h"
#include "support/test_support.h"

namespace numbrel {
namespace {

using test::at;

Value meter(const char* name, const char* type, int enabled, int economy7, const char* code,
            std::vector<std::pair<const char*, std::array<double, 3>>> newestFirst) {
    Array readings;
    for (const auto& [when, v] : newestFirst)
        readings.push_back(
            Value::makeDictionary({{"date", at(when)}, {"reading", Value(Array{v[0], v[1], v[2]})}}));
    Value m = Value::makeDictionary({{"name", name},
                                     {"type", type},
                                     {"enabled", enabled},
                                     {"economy7", economy7},
                                     {"code", code},
                                     {"units", "kWh"},
                                     {"precision", 1},
                                     {"fixed", 0.25},
                                     {"readings", Value(std::move(readings))}});
    return m;
}

// A household with every header variant: one register, Day/Night, Night/Day, three registers,
// Solar, a non-ASCII name and a currency without decimals.
Value household() {
    std::vector<std::pair<const char*, std::array<double, 3>>> r{
        {"2026-11-20T08:00:00Z", {1234.5, 300.2, 12}},
        {"2026-10-20T08:00:00Z", {1000, 250, 10}},
        {"2026-09-20T08:00:00Z", {800, 200, 8}}};
    Value doc = newDocument();
    Array meters{meter("Electricity", "Electricity", 1, 0, "GBP", r),
                 meter("Economy", "Electricity", 2, 2, "GBP", r),
                 meter("Night first", "Electricity", 2, 1, "GBP", r),
                 meter("Three", "Other", 3, 0, "EUR", r),
                 meter("Panels", "Solar", 1, 0, "GBP", r),
                 meter("Électricité", "Electricity", 1, 0, "EUR", r),
                 meter("Yen", "Gas", 1, 0, "JPY", r)};
    doc.set("settings", Value(std::move(meters)));
    return doc;
}

class CsvExport : public ::testing::TestWithParam<const char*> {};

TEST_P(CsvExport, GoldenFiles) {
    Environment env = test::pinnedEnvironment(GetParam());
    Value doc = household();
    validateSettings(doc, env, false);
    // Rates: 0.15 a unit everywhere.
    for (Value& m : doc.find("settings")->array())
        for (Value& t : m.find("tariffs")->array())
            t.find("rates")->array()[0].set("rate", 0.15);
    Calendar calendar(env);
    Formatter formatter(env);
    Engine engine(doc, calendar);
    std::string all;
    for (int m = 0; m < 7; ++m) {
        CsvFile file = exportCsv(doc, engine, formatter, m);
        all += "== " + file.name + "\n" + file.text;
    }
    CsvFile every = exportCsv(doc, engine, formatter, std::nullopt);
    all += "== " + every.name + "\n" + every.text;

    std::string expected = test::dataPath(std::string("csv/household-") + GetParam() + ".expected.csv");
    if (std::getenv("NUMBREL_UPDATE_GOLDEN")) test::writeFile(expected, all);
    if (test::readFile(expected) != all) {
        test::writeFile(expected + ".actual", all);
        ADD_FAILURE() << "the export differs from " << expected << "; see the .actual file beside it";
    }
}

INSTANTIATE_TEST_SUITE_P(Locales, CsvExport, ::testing::Values("en_GB", "en_US"));

TEST(CsvExportBytes, NamesEncodingAndTheOldestLine) {
    Environment env = test::pinnedEnvironment();
    Value doc = household();
    validateSettings(doc, env, false);
    Calendar calendar(env);
    Formatter formatter(env);
    Engine engine(doc, calendar);
    CsvFile electricity = exportCsv(doc, engine, formatter, 0);
    EXPECT_EQ(electricity.name, "electricity.csv");
    EXPECT_EQ(electricity.bytes, electricity.text);  // ASCII
    EXPECT_NE(electricity.text.find(",\"0\",\"0\",\"0\",\"0\"\r\n"), std::string::npos);
    EXPECT_EQ(exportCsv(doc, engine, formatter, 4).name, "solar.csv");
    CsvFile french = exportCsv(doc, engine, formatter, 5);
    ASSERT_GE(french.bytes.size(), 4u);
    EXPECT_EQ(french.bytes.substr(0, 2), "\xFF\xFE");  // UTF-16 with a byte-order mark
    EXPECT_EQ(french.bytes.substr(2, 2), std::string("\"\0", 2));
    EXPECT_EQ(exportCsv(doc, engine, formatter, 99).text, "");
}

}  // namespace
}  // namespace numbrel
