#include "costs/formatter.h"

#include <gtest/gtest.h>

#include "costs/currency_table.h"
#include "support/test_support.h"

namespace numbrel {
namespace {

Value meter(const char* code, int digits = 5, int precision = 1) {
    return Value::makeDictionary({{"code", code}, {"digits", digits}, {"precision", precision}});
}

#define NBSP "\u00A0"

TEST(Formatter, CostsInTheLocaleWithTheCurrencysOwnDecimals) {
    struct Row {
        const char* locale;
        const char* code;
        double value;
        const char* cost;  // formatCost
        const char* rate;  // formatCost with precision: up to seven decimals
    };
    const Row rows[] = {
        {"en_GB", "GBP", 1234.567, "£1234.57", "£1234.567"},
        {"en_GB", "GBP", 0.1234567891, "£0.12", "£0.1234568"},
        {"en_GB", "GBP", 0.5, "£0.50", "£0.5"},
        {"en_GB", "GBP", -12.5, "-£12.50", "-£12.5"},
        {"en_GB", "JPY", 1234.5, "JP¥1235", "JP¥1234.5"},
        {"en_GB", "KWD", 1.2345, "KWD" NBSP "1.235", "KWD" NBSP "1.2345"},
        {"en_US", "USD", 1234567.891, "$1234567.89", "$1234567.891"},
        {"en_US", "GBP", 2.5, "£2.50", "£2.5"},
        {"fr_FR", "EUR", 1234.5, "1234,50" NBSP "€", "1234,5" NBSP "€"},
        {"ja_JP", "JPY", 1234.5, "￥1235", "￥1234.5"},
        {"ja_JP", "USD", 3, "$3.00", "$3"},
        // A meter without costs: a plain number.
        {"en_GB", "-", 1234.567, "1234.57", "1234.567"},
        {"fr_FR", "-", 0.5, "0,50", "0,5"},
    };
    for (const Row& row : rows) {
        Formatter f(test::pinnedEnvironment(row.locale));
        Value m = meter(row.code);
        EXPECT_EQ(f.formatCost(row.value, m), row.cost) << row.locale << " " << row.code << " " << row.value;
        EXPECT_EQ(f.formatCost(row.value, m, 2), row.rate)
            << row.locale << " " << row.code << " " << row.value;
    }
}

TEST(Formatter, CurrencyPrecision) {
    Formatter f(test::pinnedEnvironment());
    EXPECT_EQ(f.currencyPrecision(meter("JPY")), 0);
    EXPECT_EQ(f.currencyPrecision(meter("GBP")), 2);
    EXPECT_EQ(f.currencyPrecision(meter("KWD")), 3);
    EXPECT_EQ(f.currencyPrecision(meter("-")), 2);
    // Every code of the symbol table formats to something.
    for (const CurrencySymbol& s : symbols())
        EXPECT_FALSE(f.formatCost(1.5, meter(std::string(s.code).c_str())).empty()) << s.code;
}

TEST(Formatter, ReadingsFillTheDialExactly) {
    struct Row {
        int digits, precision;
        double value;
        const char* text;
    };
    const Row rows[] = {
        {5, 1, 123.45, "00123.5"},      {5, 1, 1234567, "34567.0"}, {5, 0, 99999.6, "00000"},
        {6, 2, 123456.78, "123456.78"}, {8, 3, 0, "00000000.000"},  {5, 1, -12.3, "-00012.3"},
    };
    Formatter f(test::pinnedEnvironment());
    for (const Row& row : rows)
        EXPECT_EQ(f.formatReading(row.value, meter("GBP", row.digits, row.precision)), row.text) << row.value;
    Formatter fr(test::pinnedEnvironment("fr_FR"));
    EXPECT_EQ(fr.formatReading(123.45, meter("EUR")), "00123,5");
}

TEST(Formatter, UsageAndPlainNumbersAreNeverGrouped) {
    Formatter f(test::pinnedEnvironment("en_US"));
    EXPECT_EQ(f.formatUsage(1234567.891, meter("USD", 5, 1)), "1234567.9");
    EXPECT_EQ(f.formatUsage(12, meter("USD", 5, 3)), "12.000");
    EXPECT_EQ(f.formatDouble(1234.5, meter("USD"), -1), "1234.5");
    EXPECT_EQ(f.formatDouble(0.12345678912, meter("USD"), -1), "0.1234568");
    EXPECT_EQ(f.formatDouble(2.0 / 3, meter("USD"), 2), "0.67");
    EXPECT_EQ(f.formatDouble(1e9, meter("USD"), 0), "1000000000");
    Formatter de(test::pinnedEnvironment("de_DE"));
    EXPECT_EQ(de.formatUsage(1234567.891, meter("EUR", 5, 2)), "1234567,89");
}

TEST(Formatter, NonsenseSettingsStillFormat) {
    Formatter f(test::pinnedEnvironment());
    Value m = Value::makeDictionary({{"code", 12}, {"digits", -4}, {"precision", 1000}});
    EXPECT_FALSE(f.formatReading(1.5, m).empty());
    EXPECT_FALSE(f.formatUsage(1.5, m).empty());
    EXPECT_FALSE(f.formatCost(1.5, m).empty());
    EXPECT_FALSE(f.formatCost(1.0 / 0.0, meter("GBP")).empty());
}

}  // namespace
}  // namespace numbrel
