#include "costs/engine.h"

#include <gtest/gtest.h>

#include <cmath>

#include "store/calendar.h"
#include "store/document.h"
#include "store/validation.h"
#include "support/test_support.h"

namespace numbrel {
namespace {

using test::at;

struct R {
    const char* when;  // ISO 8601
    double r1 = 0, r2 = 0, r3 = 0;
    bool isNew = false;
};

Value step(double rate, double units = 0, const char* period = "day") {
    return Value::makeDictionary({{"rate", rate}, {"units", units}, {"period", period}});
}

// A tariff from its steps (padded to twelve) and flags.
Value tariff(std::vector<Value> steps, bool stepped = false, bool monthly = false) {
    while (steps.size() < 12)
        steps.push_back(step(0));
    return Value::makeDictionary(
        {{"rates", Value(Array(steps.begin(), steps.end()))}, {"stepped", stepped}, {"monthly", monthly}});
}

// A meter with readings given oldest first (stored newest first, as the document keeps them).
Value meter(std::initializer_list<std::pair<std::string_view, Value>> keys, std::vector<R> oldestFirst) {
    Value m = Value::makeDictionary(
        {{"name", "M"}, {"enabled", 1}, {"digits", 5}, {"factor", 1.0}, {"code", "GBP"}});
    for (const auto& [k, v] : keys)
        m.set(k, v);
    if (!m.contains("tariffs"))
        m.set("tariffs", Value(Array{tariff({step(1.0)}), tariff({step(1.0)}), tariff({step(1.0)})}));
    Array readings;
    for (auto it = oldestFirst.rbegin(); it != oldestFirst.rend(); ++it) {
        Value r = Value::makeDictionary(
            {{"date", at(it->when)}, {"reading", Value(Array{it->r1, it->r2, it->r3})}});
        if (it->isNew) r.set("new", true);
        readings.push_back(std::move(r));
    }
    m.set("readings", Value(std::move(readings)));
    return m;
}

class EngineTest : public ::testing::Test {
protected:
    EngineTest() : env_(test::pinnedEnvironment()), calendar_(env_) {}
    Engine engine(Value m) {
        doc_ = Value::makeDictionary({{"settings", Value(Array{std::move(m)})}});
        return Engine(doc_, calendar_);
    }
    Value& theMeter() { return doc_.find("settings")->array()[0]; }

    Environment env_;
    Calendar calendar_;
    Value doc_;
};

TEST_F(EngineTest, DialRolloverAndDirection) {
    struct Row {
        const char* name;
        std::initializer_list<std::pair<std::string_view, Value>> keys;
        double older, newer, expected;
    };
    const Row rows[] = {
        {"wrap past zero", {}, 99990, 10, 20},
        {"a small fall stays negative", {}, 10, 0, -10},
        {"a rise of half the dial counts as a fall", {}, 0, 50000, -50000},
        {"just under half the dial is a rise", {}, 0, 49999, 49999},
        {"counting down", {{"direction", 1}}, 100, 90, 10},
        {"counting down through zero", {{"direction", 1}}, 5, 99995, 10},
        {"readings are usages", {{"direction", 2}}, 7, 3, 3},
        {"a meter named Test Type 1 reads usages", {{"name", "Test Type 1"}}, 7, 3, 3},
        {"Test Type 1 still takes the half-dial rule", {{"name", "Test Type 1"}}, 7, 60000, -40000},
        {"no digits: modulus 1", {{"digits", 0}}, 10, 12.5, 1.5},
        {"ten digits wrap the 32-bit modulus", {{"digits", 10}}, 0, 800000000, 800000000 - 1410065408.0},
        {"the factor converts units", {{"factor", 11.2}}, 100, 110, 112},
    };
    for (const Row& row : rows) {
        Engine e = engine(
            meter(row.keys, {{"2026-01-01T00:00:00Z", row.older}, {"2026-01-02T00:00:00Z", row.newer}}));
        EXPECT_NEAR(e.usage(0, 0, 1, 0), row.expected, 1e-9) << row.name;
    }
}

TEST_F(EngineTest, NewMeterPairCountsNoUsageButItsDays) {
    Engine e = engine(meter({}, {{"2026-01-01T00:00:00Z", 100},
                                 {"2026-01-02T00:00:00Z", 5, 0, 0, true},
                                 {"2026-01-03T00:00:00Z", 170}}));
    EXPECT_DOUBLE_EQ(e.usage(0, 0, 2, 0), 165.0 / 2);
    EXPECT_DOUBLE_EQ(e.usage(0, 0, 2, 1), 0.0);
    EXPECT_DOUBLE_EQ(e.days(0, 2, 0), 2.0);
}

TEST_F(EngineTest, RegisterFormulas) {
    Value tariffs(Array{tariff({step(0.10)}), tariff({step(0.20)}), tariff({step(0.40)})});
    std::vector<R> readings{{"2026-01-01T00:00:00Z", 100, 50, 10}, {"2026-01-02T00:00:00Z", 110, 54, 11}};
    struct Row {
        const char* name;
        int enabled;
        int minus;  // 0: none
        double usage, cost;
    };
    const Row rows[] = {
        {"single register", 1, 0, 10, 1.0},
        {"R1 + R2", 2, 0, 14, 1.0 + 0.8},
        {"R1 - R2: usage subtracts, cost adds", 2, 2, 6, 1.0 + 0.8},
        {"R1 + R2 + R3", 3, 0, 15, 1.0 + 0.8 + 0.4},
        {"R1 + R2 - R3", 3, 3, 13, 1.0 + 0.8 + 0.4},
        {"R1 - R2 + R3", 3, 2, 7, 1.0 + 0.8 + 0.4},
    };
    for (const Row& row : rows) {
        Value m = meter({{"enabled", row.enabled}, {"tariffs", tariffs}}, readings);
        if (row.minus) m.set("minus", row.minus);
        Engine e = engine(m);
        EXPECT_DOUBLE_EQ(e.usage(0, 0, 1, 0), row.usage) << row.name;
        EXPECT_NEAR(e.cost(0, 0, 1, 0), row.cost, 1e-12) << row.name;
        // A single register is always its own, positive usage.
        EXPECT_DOUBLE_EQ(e.usage(0, 2, 1, 0), row.enabled >= 2 ? 4.0 : 0.0) << row.name;
    }
}

TEST_F(EngineTest, SteppedAndFlatTariffs) {
    struct Row {
        const char* name;
        Value tariff;
        double dailyUsage, expectedDailyCost;
    };
    Array twelveFull;
    for (int i = 0; i < 12; ++i)
        twelveFull.push_back(step(1.0, 1.0));
    const double q = 100.0 * 12 / 365;
    const Row rows[] = {
        {"flat", tariff({step(0.2)}), 5, 1.0},
        {"not stepped: first rate only", tariff({step(0.2, 1), step(5.0)}), 5, 1.0},
        {"100 units a month at 0.20, the rest at 0.10", tariff({step(0.2, 100, "month"), step(0.1)}, true), 5,
         q * 0.2 + (5 - q) * 0.1},
        {"usage inside the first step", tariff({step(0.2, 10, "day"), step(0.1)}, true), 5, 1.0},
        {"weekly step", tariff({step(0.5, 7, "week"), step(0.1)}, true), 5, 0.5 + 4 * 0.1},
        {"beyond twelve full steps is uncharged",
         Value(Value::makeDictionary({{"rates", Value(twelveFull)}, {"stepped", true}})), 20, 12.0},
    };
    for (const Row& row : rows) {
        Value m = meter({{"tariffs", Value(Array{row.tariff, row.tariff, row.tariff})}},
                        {{"2026-01-01T00:00:00Z", 0}, {"2026-01-11T00:00:00Z", 10 * row.dailyUsage}});
        Engine e = engine(m);
        EXPECT_NEAR(e.cost(0, 0, 1, 0), row.expectedDailyCost, 1e-12) << row.name;
        EXPECT_NEAR(e.costNow(0, 0, 1, 0), row.expectedDailyCost, 1e-12) << row.name;
        EXPECT_NEAR(e.cost(0, 1, 1, 0, -1, at("2026-01-01T00:00:00Z"), at("2026-01-11T00:00:00Z")),
                    10 * row.expectedDailyCost, 1e-9)
            << row.name;
    }
}

TEST_F(EngineTest, FixedChargesDiscountsAndTax) {
    for (auto [period, amount] : {std::pair{"day", 360.0 / 365},
                                  {"week", 7 * 360.0 / 365},
                                  {"month", 30.0},
                                  {"quarter", 90.0},
                                  {"year", 360.0},
                                  {"fortnight", 360.0 / 365}}) {
        Engine e = engine(meter({{"fixed", amount}, {"period", period}}, {}));
        EXPECT_NEAR(e.fixed(0, -1, at("2025-01-01T00:00:00Z"), at("2026-01-01T00:00:00Z")), 360.0, 1e-9)
            << period;
    }
    // A cost of 100 over a year, less 10 a year, less 5 %, plus 20 % tax.
    Value m =
        meter({{"discount", 10.0},
               {"period2", "year"},
               {"percent", 5.0},
               {"tax", 20.0},
               {"tariffs", Value(Array{tariff({step(0.1)}), tariff({step(0.1)}), tariff({step(0.1)})})}},
              {{"2025-01-01T00:00:00Z", 0}, {"2026-01-01T00:00:00Z", 1000}});
    Engine e = engine(m);
    EXPECT_NEAR(e.cost(0, 0, 1, 0, -1, at("2025-01-01T00:00:00Z"), at("2026-01-01T00:00:00Z")), 102.6, 1e-9);
    // A single register carries neither the fixed charge nor the discounts, but the tax.
    EXPECT_NEAR(e.cost(0, 1, 1, 0, -1, at("2025-01-01T00:00:00Z"), at("2026-01-01T00:00:00Z")), 120.0, 1e-9);
    // A discount larger than the charges is a credit, not clamped.
    theMeter().set("discount", 1000.0);
    EXPECT_LT(e.cost(0, 0, 1, 0), 0.0);
    // Fixed charge per day with tax.
    theMeter().set("fixed", 1.0);
    EXPECT_NEAR(e.fixed(0, 1, 0), 1.2, 1e-12);
}

Value rateChange(const char* to, double rate, double fixed = 0.0) {
    return Value::makeDictionary(
        {{"fixed", fixed},
         {"period", "day"},
         {"tariffs", Value(Array{tariff({step(rate)}), tariff({step(rate)}), tariff({step(rate)})})},
         {"discount", 0.0},
         {"period2", "day"},
         {"percent", 0.0},
         {"tax", 0.0},
         {"to", at(to)}});
}

TEST_F(EngineTest, RateChangesCutTheSpan) {
    // 10 units a day for 10 days; current rate 1.0, fixed 1 a day.
    auto make = [&](Array previous) {
        Value m = meter({{"fixed", 1.0}}, {{"2026-01-01T00:00:00Z", 0}, {"2026-01-11T00:00:00Z", 100}});
        if (!previous.empty()) m.set("previous", Value(std::move(previous)));
        return engine(m);
    };
    struct Row {
        const char* name;
        Array previous;
        double cost, fixed;  // per day
    };
    const Row rows[] = {
        {"no rate changes", {}, 10 + 1, 1},
        {"a change half way", Array{rateChange("2026-01-06T00:00:00Z", 0.5, 3.0)},
         (5 * 5 + 5 * 10 + 5 * 3 + 5 * 1) / 10.0, (5 * 3 + 5 * 1) / 10.0},
        {"a to equal to the newer reading does not cut", Array{rateChange("2026-01-11T00:00:00Z", 0.5, 3.0)},
         5 + 3, 3},
        {"a to before the span is past", Array{rateChange("2025-12-01T00:00:00Z", 0.5, 3.0)}, 11, 1},
        {"two changes, newest first",
         Array{rateChange("2026-01-09T00:00:00Z", 2.0), rateChange("2026-01-03T00:00:00Z", 0.5)},
         (2 * 5 + 6 * 20 + 2 * 10 + 2 * 1) / 10.0, 0.2},
        {"two changes with the same to: the older copy applies",
         Array{rateChange("2026-01-06T00:00:00Z", 2.0), rateChange("2026-01-06T00:00:00Z", 0.5)},
         (5 * 5 + 5 * 10 + 5 * 1) / 10.0, 0.5},
    };
    for (const Row& row : rows) {
        Engine e = make(row.previous);
        EXPECT_NEAR(e.cost(0, 0, 1, 0), row.cost, 1e-12) << row.name;
        EXPECT_NEAR(e.fixed(0, 1, 0), row.fixed, 1e-12) << row.name;
        EXPECT_NEAR(e.costNow(0, 0, 1, 0), 11.0, 1e-12) << row.name << " (current rates only)";
    }
    Engine e = make(Array{rateChange("2026-01-09T00:00:00Z", 2.0), rateChange("2026-01-03T00:00:00Z", 0.5)});
    EXPECT_EQ(e.rateAt(0, at("2026-01-01T00:00:00Z")), 1);
    EXPECT_EQ(e.rateAt(0, at("2026-01-03T00:00:00Z")), 0);  // "to" itself is no longer in force
    EXPECT_EQ(e.rateAt(0, at("2026-01-09T00:00:00Z")), -1);
}

TEST_F(EngineTest, LongSpansAreTheDayWeightedMeanOfPairs) {
    Value m =
        meter({}, {{"2026-01-01T00:00:00Z", 0}, {"2026-01-02T00:00:00Z", 10}, {"2026-01-05T00:00:00Z", 40}});
    m.set("previous", Value(Array{rateChange("2026-01-03T00:00:00Z", 2.0)}));
    Engine e = engine(m);
    // Pair 1: 1 day at 10/day, rate 2 -> 20. Pair 2: 3 days at 10/day, one at rate 2, two at 1 -> 40.
    EXPECT_NEAR(e.cost(0, 0, 2, 0), (20.0 + 40.0) / 4, 1e-12);
    EXPECT_NEAR(e.usage(0, 0, 2, 0), 10.0, 1e-12);
}

TEST_F(EngineTest, MonthlyRatesFollowCalendarMonths) {
    std::vector<Value> months;
    for (int m = 1; m <= 12; ++m)
        months.push_back(step(m, 100.0 * m));
    Value flat = tariff(months, false, true);
    Value m = meter({{"tariffs", Value(Array{flat, flat, flat})}},
                    {{"2026-01-15T00:00:00Z", 0}, {"2026-03-10T00:00:00Z", 54}});
    Engine e = engine(m);
    // 17 January days at 1, 28 February days at 2, 9 March days at 3, one unit a day.
    EXPECT_NEAR(e.cost(0, 1, 1, 0, -1, at("2026-01-15T00:00:00Z"), at("2026-03-10T00:00:00Z")), 17 + 56 + 27,
                1e-9);

    // Across the change to summer time in London, March ends an hour early.
    Value m2 = meter({{"tariffs", Value(Array{flat, flat, flat})}},
                     {{"2026-03-20T00:00:00Z", 0}, {"2026-04-10T00:00:00Z", 21}});
    Engine e2 = engine(m2);
    double march = 12 - 1.0 / 24, april = 9 + 1.0 / 24;
    EXPECT_NEAR(e2.cost(0, 1, 1, 0, -1, at("2026-03-20T00:00:00Z"), at("2026-04-10T00:00:00Z")),
                march * 3 + april * 4, 1e-9);

    // Stepped: the month's own allowance, the prices of steps one and two.
    Value stepped = tariff(months, true, true);
    Value m3 = meter({{"tariffs", Value(Array{stepped, stepped, stepped})}},
                     {{"2026-02-01T00:00:00Z", 0}, {"2026-02-11T00:00:00Z", 100}});
    Engine e3 = engine(m3);
    double q = 200.0 * 12 / 365;  // February's allowance
    EXPECT_NEAR(e3.cost(0, 1, 1, 0, -1, at("2026-02-01T00:00:00Z"), at("2026-02-11T00:00:00Z")),
                10 * (q * 1.0 + (10 - q) * 2.0), 1e-9);
}

TEST_F(EngineTest, YearAgo) {
    struct Row {
        const char* name;
        std::vector<R> readings;
        int expected;
    };
    const Row rows[] = {
        {"no readings", {}, 0},
        {"one reading", {{"2026-01-01T00:00:00Z"}}, 0},
        {"two readings", {{"2026-01-01T00:00:00Z"}, {"2026-01-05T00:00:00Z"}}, 1},
        {"closest to a year",
         {{"2024-01-01T00:00:00Z"},
          {"2025-01-03T00:00:00Z"},
          {"2025-06-01T00:00:00Z"},
          {"2026-01-01T00:00:00Z"}},
         2},
        {"a tie keeps the older",
         {{"2024-12-31T00:00:00Z"},
          {"2025-01-02T00:00:00Z"},
          {"2025-06-01T00:00:00Z"},
          {"2026-01-01T00:00:00Z"}},
         3},
    };
    for (const Row& row : rows)
        EXPECT_EQ(engine(meter({}, row.readings)).yearAgo(0), row.expected) << row.name;
}

TEST_F(EngineTest, NoInputMakesItFail) {
    Value m = meter({{"enabled", 3}}, {{"2026-01-01T00:00:00Z", 1, 2}, {"2026-01-02T00:00:00Z", 3, 4}});
    Engine e = engine(m);
    // Out-of-range meters, readings, registers and rate sets.
    for (int meterIndex : {-1, 1, 99})
        EXPECT_EQ(e.usage(meterIndex, 0, 1, 0), 0.0);
    EXPECT_EQ(e.usage(0, 0, 2, 0), 0.0);
    EXPECT_EQ(e.usage(0, 0, 0, 1), 0.0);
    EXPECT_EQ(e.usage(0, 0, 1, 1), 0.0);
    EXPECT_EQ(e.usage(0, 0, 1, -1), 0.0);
    EXPECT_EQ(e.usage(0, 4, 1, 0), 0.0);
    EXPECT_EQ(e.cost(0, 0, 1, 0, 7, at("2026-01-01T00:00:00Z"), at("2026-01-02T00:00:00Z")), 0.0);
    EXPECT_EQ(e.days(0, 5, 0), 0.0);
    // Broken shapes: a reading with two values, a short tariff array, "previous" not an array,
    // "readings" not an array, steps that are not dictionaries, a reading without a date.
    theMeter().find("readings")->array()[0].set("reading", Value(Array{Value(3.0), Value(4.0)}));
    theMeter().set("tariffs", Value(Array{Value(Array{}), Value("junk")}));
    theMeter().set("previous", "not an array");
    EXPECT_DOUBLE_EQ(e.usage(0, 0, 1, 0), 2 + 2 - 0);
    EXPECT_EQ(e.cost(0, 0, 1, 0), 0.0);
    EXPECT_EQ(e.rateAt(0, at("2026-01-01T00:00:00Z")), -1);
    theMeter().set("tariffs", Value(Array{Value::makeDictionary(
                                  {{"rates", Value(Array{Value(1), Value("x")})}, {"stepped", true}})}));
    EXPECT_TRUE(std::isfinite(e.cost(0, 0, 1, 0)));
    theMeter().set("tariffs", Value(Array{Value::makeDictionary({{"rates", "x"}, {"monthly", true}})}));
    EXPECT_TRUE(std::isfinite(e.cost(0, 0, 1, 0)));
    theMeter().find("readings")->array()[1].erase("date");
    EXPECT_TRUE(std::isfinite(e.cost(0, 0, 1, 0)));
    theMeter().set("readings", 12);
    EXPECT_EQ(e.usage(0, 0, 1, 0), 0.0);
    EXPECT_EQ(e.yearAgo(0), 0);
    // A monthly tariff over dates in the wrong order or far apart ends.
    Value flat = tariff({step(1)}, false, true);
    Engine e2 = engine(meter({{"tariffs", Value(Array{flat, flat, flat})}},
                             {{"2026-05-01T00:00:00Z", 0}, {"2026-01-01T00:00:00Z", 10}}));
    EXPECT_TRUE(
        std::isfinite(e2.cost(0, 1, 1, 0, -1, at("2026-05-01T00:00:00Z"), at("2026-01-01T00:00:00Z"))));
    EXPECT_TRUE(std::isfinite(e2.cost(0, 1, 1, 0, -1, Date{-6e10}, Date{6e10})));
}

TEST_F(EngineTest, CostFlagFollowsTheCurrencyCode) {
    Engine e = engine(meter({{"code", "-"}}, {}));
    EXPECT_FALSE(e.hasCost(0));
    theMeter().set("code", "EUR");
    EXPECT_TRUE(e.hasCost(0));
    EXPECT_FALSE(e.hasCost(3));
}

TEST_F(EngineTest, DefaultMetersCostNothingUntilRatesAreSet) {
    Value doc = newDocument();
    doc.set("settings", defaultMeters());
    validateSettings(doc, env_, false);
    Value& m = doc.find("settings")->array()[0];
    m.find("readings")->array() = {Value::makeDictionary({{"date", at("2026-01-02T00:00:00Z")},
                                                          {"reading", Value(Array{110.0, 0.0, 0.0})}}),
                                   Value::makeDictionary({{"date", at("2026-01-01T00:00:00Z")},
                                                          {"reading", Value(Array{100.0, 0.0, 0.0})}})};
    Engine e(doc, calendar_);
    EXPECT_DOUBLE_EQ(e.usage(0, 0, 1, 0), 10.0);
    EXPECT_DOUBLE_EQ(e.cost(0, 0, 1, 0), 0.0);
}

}  // namespace
}  // namespace numbrel
