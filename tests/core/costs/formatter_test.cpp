#include "costs/formatter.h"

#include <gtest/gtest.h>
#include <unicode/datefmt.h>
#include <unicode/numberformatter.h>

#include <cmath>
#include <memory>
#include <random>

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
        {"en_GB", "JPY", 1234.5, "JP¥1234", "JP¥1234.5"},  // a half goes to the even yen
        {"en_GB", "KWD", 1.2345, "KWD" NBSP "1.234", "KWD" NBSP "1.2345"},
        {"en_US", "USD", 1234567.891, "$1234567.89", "$1234567.891"},
        {"en_US", "GBP", 2.5, "£2.50", "£2.5"},
        {"fr_FR", "EUR", 1234.5, "1234,50" NBSP "€", "1234,5" NBSP "€"},
        {"ja_JP", "JPY", 1235.5, "￥1236", "￥1235.5"},
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

TEST(Formatter, HalvesRoundToEvenAsTheLocaleFormatterDoes) {
    // The shortest decimal form of the double decides: 296.15 is written "296.15" and its half goes to
    // the even 2; C-format fields (the CSV export's costs) round the exact binary value as printf does.
    struct Row {
        double value;
        int decimals;
        const char* text;
    };
    Formatter f(test::pinnedEnvironment());
    for (const Row& row : {Row{296.15, 1, "296.2"}, Row{270.65, 1, "270.6"}, Row{123.45, 1, "123.4"},
                           Row{12.31465, 4, "12.3146"}, Row{0.5, 0, "0"}, Row{1.5, 0, "2"},
                           Row{-0.04, 1, "-0.0"}, Row{-1254.705, 2, "-1254.70"}, Row{2.675, 2, "2.68"}}) {
        EXPECT_EQ(f.formatDouble(row.value, meter("GBP"), row.decimals), row.text) << row.value;
        EXPECT_EQ(f.formatUsage(row.value, meter("GBP", 5, row.decimals)), row.text) << row.value;
    }
    EXPECT_EQ(f.formatCost(0.125, meter("GBP")), "£0.12");
    EXPECT_EQ(f.formatCost(0.135, meter("GBP")), "£0.14");
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
        {5, 1, 123.45, "00123.4"},      {5, 1, 1234567, "34567.0"}, {5, 0, 99999.6, "00000"},
        {6, 2, 123456.78, "123456.78"}, {8, 3, 0, "00000000.000"},  {5, 1, -12.3, "-00012.3"},
    };
    Formatter f(test::pinnedEnvironment());
    for (const Row& row : rows)
        EXPECT_EQ(f.formatReading(row.value, meter("GBP", row.digits, row.precision)), row.text) << row.value;
    Formatter fr(test::pinnedEnvironment("fr_FR"));
    EXPECT_EQ(fr.formatReading(123.55, meter("EUR")), "00123,6");
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

TEST(Formatter, PlainNumbersMatchIcuInEveryLocale) {
    // The plain-number path that skips ICU must give ICU's text: random values, values on exact
    // halves, negative values rounding to zero, in locales with other separators and minus signs.
    std::mt19937_64 random(11);
    std::vector<double> values{
        0.25,   0.125,  2.5,    -2.5,     0.05, -0.04, 99999.95,  1e-9,   123456789.987654,
        296.15, 270.65, 123.45, 12.31465, 0.5,  1.5,   -1254.705, 0.0005, 9.995};
    for (int i = 0; i < 3000; ++i) {
        double magnitude = std::pow(10.0, static_cast<double>(random() % 12) - 4);
        values.push_back((static_cast<double>(random() % 2000000) / 1000000.0 - 1.0) * magnitude);
        // Ties in the shortest decimal form at each number of decimals: n.5, n.x5, n.xx5, n.xxx5.
        const double scale = std::pow(10.0, static_cast<double>(random() % 4));
        values.push_back((std::round(values.back() * scale) + 0.5) / scale);
    }
    for (const char* locale : {"en_GB", "fr_FR", "de_CH", "sv_SE", "ar_EG", "hi_IN"}) {
        Environment env = test::pinnedEnvironment(locale);
        Formatter f(env);
        for (int decimals : {0, 1, 2, 3, 4}) {
            auto reference = icu::number::NumberFormatter::withLocale(env.locale())
                                 .grouping(UNUM_GROUPING_OFF)
                                 .precision(icu::number::Precision::fixedFraction(decimals));
            for (double v : values) {
                UErrorCode status = U_ZERO_ERROR;
                std::string want;
                reference.formatDouble(v, status).toString(status).toUTF8String(want);
                ASSERT_EQ(f.formatDouble(v, meter("GBP"), decimals), want)
                    << locale << " " << v << " " << decimals;
            }
        }
    }
}

TEST(Formatter, DatesAndTimesMatchIcu) {
    // Dates and times are put together from remembered parts: they must read as ICU's whole text,
    // across a change of summer time and in locales that order or join the parts differently.
    for (const char* locale : {"en_GB", "en_US", "ja_JP", "fr_FR", "ar_EG"}) {
        Environment env = test::pinnedEnvironment(locale, "Europe/London");
        Formatter f(env);
        std::unique_ptr<icu::DateFormat> whole(icu::DateFormat::createDateTimeInstance(
            icu::DateFormat::kShort, icu::DateFormat::kMedium, env.locale()));
        whole->setTimeZone(env.timeZone());
        Date d = test::at("2026-03-27T22:30:00Z");
        for (int i = 0; i < 200; ++i) {
            d.seconds += 3600 * 7 + 17;  // walks across 29 March, at ever different times
            icu::UnicodeString text;
            whole->format((d.seconds + 978307200.0) * 1000.0, text);
            std::string want;
            text.toUTF8String(want);
            ASSERT_EQ(f.formatDate(d, Formatter::DateStyle::Short, Formatter::TimeStyle::Medium), want)
                << locale << i;
        }
    }
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
