#include "readings/meter_editing.h"

#include <gtest/gtest.h>

#include "costs/engine.h"
#include "store/calendar.h"
#include "support/app_fixture.h"

namespace numbrel {
namespace {

using test::at;

TEST(Postcode, TypedCharacterByCharacter) {
    auto typed = [](std::string_view text) {
        for (std::size_t n = 1; n <= text.size(); ++n)
            if (!postcodeAccepts(text.substr(0, n))) return false;
        return true;
    };
    for (const char* valid :
         {"SW1A 1AA", "M1 1AE", "B33 8TH", "CR2 6XH", "DN55 1PT", "EC1A 1BB", "W1A 0AX", "SW1A"})
        EXPECT_TRUE(typed(valid)) << valid;
    for (const char* invalid : {"SW1A  1AA",  // a second space
                                "DN55 12",    // a fourth digit, and a digit after the inward digit
                                "sw1a",       // lower case is upper-cased before it gets here
                                "AB1CD", "W1AB", "SW1A 1A1", "B33 8THX", "SW1A A", "E!"})
        EXPECT_FALSE(typed(invalid)) << invalid;
}

class MeterEditing : public test::AppFixture {};

TEST_F(MeterEditing, KeysWithTheEditorsRules) {
    Value& m = meter();
    m.find("readings")
        ->array()
        .push_back(Value::makeDictionary(
            {{"date", at("2026-01-01T00:00:00Z")}, {"reading", Value(Array{123456.7, 0.0, 0.0})}}));
    EXPECT_EQ(smallestDigits(m), 6);
    EXPECT_TRUE(setMeterKey(m, "digits", "5"));  // refused: the readings need 6
    EXPECT_FALSE(setMeterKey(m, "digits", "7"));
    EXPECT_EQ(integerOf(m, "digits"), 7);
    EXPECT_FALSE(setMeterKey(m, "factor", "0"));
    EXPECT_EQ(realOf(m, "factor"), 1.0);
    EXPECT_TRUE(setMeterKey(m, "code", "XYZ"));
    EXPECT_EQ(stringOf(m, "code"), "GBP");
    EXPECT_FALSE(setMeterKey(m, "postcode", "cr2 6xh"));
    EXPECT_EQ(stringOf(m, "postcode"), "CR2 6XH");
    EXPECT_FALSE(setMeterKey(m, "direction", "down"));
    EXPECT_EQ(integerOf(m, "direction"), 1);
    EXPECT_FALSE(setMeterKey(m, "direction", "up"));
    EXPECT_FALSE(m.contains("direction"));
    EXPECT_FALSE(setMeterKey(m, "notes", "by the door"));
    EXPECT_FALSE(setMeterKey(m, "notes", ""));
    EXPECT_FALSE(m.contains("notes"));
    EXPECT_TRUE(setMeterKey(m, "period", "fortnight"));
    EXPECT_TRUE(setMeterKey(m, "colour", "red"));
}

TEST_F(MeterEditing, ANewMeterAndItsRateChanges) {
    Value added = newMeter("Heat", app_.environment());
    EXPECT_EQ(stringOf(added, "type"), "Other");
    EXPECT_EQ(stringOf(added, "code"), "GBP");
    EXPECT_EQ(added.find("tariffs")->array()[0].find("rates")->size(), 12u);
    metersOf(app_.settings())->push_back(added);
    Value& m = meter(3);
    // Day + Night: stepped on the day register, monthly on the night register.
    m.set("enabled", 2);
    m.set("economy7", 2);
    Value& day = m.find("tariffs")->array()[0];
    day.set("stepped", true);
    day.find("rates")->array()[0] = Value::makeDictionary({{"rate", 0.2}, {"units", 5.0}, {"period", "day"}});
    day.find("rates")->array()[1] = Value::makeDictionary({{"rate", 0.1}, {"units", 0.0}, {"period", "day"}});
    Value& night = m.find("tariffs")->array()[1];
    night.set("monthly", true);
    for (Value& step : night.find("rates")->array())
        step.set("rate", 0.05);
    m.find("readings")->array() = {Value::makeDictionary({{"date", at("2026-11-21T00:00:00Z")},
                                                          {"reading", Value(Array{100.0, 50.0, 0.0})}}),
                                   Value::makeDictionary({{"date", at("2026-11-11T00:00:00Z")},
                                                          {"reading", Value(Array{0.0, 0.0, 0.0})}})};
    Engine engine(app_.settings(), app_.calendar());
    // 10 a day on the day register (5 at 0.2, 5 at 0.1), 5 a night at 0.05.
    EXPECT_NEAR(engine.cost(3, 0, 1, 0), 1.5 + 0.25, 1e-12);

    addRateChange(m, app_.calendar(), app_.environment().now());
    addRateChange(m, app_.calendar(), app_.environment().now());  // the same day: the same "to"
    Array& previous = m.find("previous")->array();
    ASSERT_EQ(previous.size(), 2u);
    EXPECT_EQ(previous[0].find("to")->date(), at("2026-11-23T00:00:00Z"));  // the start of tomorrow
    // Costs of the span (before "to") now come from the older copy; editing the newer one changes none.
    previous[0].find("tariffs")->array()[0].find("rates")->array()[0].set("rate", 9.0);
    EXPECT_NEAR(engine.cost(3, 0, 1, 0), 1.75, 1e-12);
    previous[1].find("tariffs")->array()[0].find("rates")->array()[0].set("rate", 0.4);
    EXPECT_NEAR(engine.cost(3, 0, 1, 0), 2.0 + 0.5 + 0.25, 1e-12);
    deleteRateChange(m, 1);  // the oldest: the newer copy takes over
    EXPECT_NEAR(engine.cost(3, 0, 1, 0), 45.0 + 0.5 + 0.25, 1e-12);
    dateRateChange(m, 0, at("2026-11-16T00:00:00Z"));  // half the span at its rates
    EXPECT_NEAR(engine.cost(3, 0, 1, 0), (45.5 + 0.25 + 1.5 + 0.25) / 2, 1e-12);
    deleteRateChange(m, 0);
    EXPECT_FALSE(m.contains("previous"));
    EXPECT_NEAR(engine.cost(3, 0, 1, 0), 1.75, 1e-12);
}

}  // namespace
}  // namespace numbrel
