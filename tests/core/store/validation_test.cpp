#include "store/validation.h"

#include <gtest/gtest.h>

#include <functional>

#include "plist/description.h"
#include "store/calendar.h"
#include "store/document.h"
#include "support/test_support.h"

namespace numbrel {
namespace {

using test::at;
using test::pinnedEnvironment;

Value firstLaunchDocument() {
    Value doc = newDocument();
    doc.set("settings", defaultMeters());
    return doc;
}

Value meterWith(std::initializer_list<std::pair<std::string_view, Value>> entries) {
    Value m = Value::makeDictionary(entries);
    if (!m.contains("enabled")) m.set("enabled", 1);
    return m;
}

Value documentWith(Array meters, std::initializer_list<std::pair<std::string_view, Value>> top = {}) {
    Value doc = Value::makeDictionary(top);
    doc.set("settings", Value(std::move(meters)));
    return doc;
}

TEST(Validation, TheFirstMetersAreNamedInTheUsersLanguage) {
    Value english = defaultMeters();
    Value german = [] {
        test::InLanguage de("de");
        return defaultMeters();
    }();
    std::vector<std::string> names, types;
    for (const Value& m : german.array()) {
        names.emplace_back(stringOf(m, "name"));
        types.emplace_back(stringOf(m, "type"));
    }
    EXPECT_EQ(names, (std::vector<std::string>{"Strom", "Gas", "Wasser"}));
    EXPECT_EQ(types, (std::vector<std::string>{"Electricity", "Gas", "Water"}));
    EXPECT_EQ(stringOf(english.array()[0], "name"), "Electricity");
    EXPECT_EQ(stringOf(german.array()[2], "units"), "m³");
}

TEST(Validation, FirstLaunch) {
    Environment env = pinnedEnvironment();
    Value doc = firstLaunchDocument();
    std::vector<Alert> alerts = validateSettings(doc, env, false);
    EXPECT_TRUE(alerts.empty());
    EXPECT_EQ(integerOf(doc, "version"), 420);
    EXPECT_TRUE(boolOf(doc, "root"));
    EXPECT_TRUE(boolOf(doc, "next"));
    EXPECT_FALSE(boolOf(doc, "autobackup", true));
    EXPECT_EQ(stringOf(doc, "filename", "x"), "");
    EXPECT_EQ(doc.find("review")->date(), Calendar(env).addDays(env.now(), 30));
    EXPECT_EQ(integerOf(doc, "range"), 2);
    EXPECT_EQ(integerOf(doc, "theme"), 4);
    EXPECT_EQ(integerOf(doc, "at"), 800);
    EXPECT_EQ(stringOf(doc, "reminders"), "Off");
    const Array& meters = *metersOf(doc);
    ASSERT_EQ(meters.size(), 3u);
    EXPECT_EQ(stringOf(meters[0], "name"), "Electricity");
    EXPECT_EQ(stringOf(meters[2], "type"), "Water");
    EXPECT_EQ(stringOf(meters[0], "code"), "GBP");  // en_GB
    const Value& tariff = meters[1].find("tariffs")->array()[2];
    EXPECT_EQ(tariff.find("rates")->size(), 12u);
    EXPECT_FALSE(boolOf(tariff, "stepped", true));
    EXPECT_FALSE(boolOf(tariff, "monthly", true));
    EXPECT_FALSE(tariff.contains("unit"));
    // "units": the three defaults plus the meters' own, case-insensitively sorted.
    EXPECT_EQ(description(*doc.find("units")), "(\"ft³\",\"kWh\",\"m³\")");
}

TEST(Validation, IsIdempotent) {
    Environment env = pinnedEnvironment();
    Value doc = firstLaunchDocument();
    validateSettings(doc, env, false);
    Value again = doc;
    bool changed = true;
    EXPECT_TRUE(validateSettings(again, env, false, &changed).empty());
    EXPECT_FALSE(changed);
    EXPECT_EQ(description(again), description(doc));
}

TEST(Validation, ReportsEveryRepair) {
    Environment env = pinnedEnvironment();
    Value valid = firstLaunchDocument();
    validateSettings(valid, env, false);
    auto meter = [](Value& doc) -> Value& { return doc.find("settings")->array()[0]; };
    auto tariff = [&](Value& doc) -> Value& { return meter(doc).find("tariffs")->array()[1]; };
    const std::pair<const char*, std::function<void(Value&)>> damages[] = {
        {"a missing top-level key", [](Value& d) { d.erase("theme"); }},
        {"a key that is dropped", [](Value& d) { d.set("current", 1); }},
        {"a disabled meter", [&](Value& d) { meter(d).set("enabled", 0); }},
        {"a meter's missing key", [&](Value& d) { meter(d).erase("postcode"); }},
        {"an unknown currency", [&](Value& d) { meter(d).set("code", "XXQ"); }},
        {"a missing tariff", [&](Value& d) { meter(d).find("tariffs")->array().pop_back(); }},
        {"a short rate list", [&](Value& d) { tariff(d).find("rates")->array().pop_back(); }},
        {"a tariff without stepped", [&](Value& d) { tariff(d).erase("stepped"); }},
        {"an older version", [](Value& d) { d.set("version", 400); }},
    };
    for (const auto& [what, damage] : damages) {
        Value doc = valid;
        damage(doc);
        bool changed = false;
        validateSettings(doc, env, true, &changed);
        EXPECT_TRUE(changed) << what;
    }
}

TEST(Validation, HelpAndSupportAlertOnlyForTheStoredDocument) {
    Environment env = pinnedEnvironment();
    Value old = documentWith({}, {{"version", 331}, {"tour", false}});
    Value loaded = old;
    std::vector<Alert> alerts = validateSettings(loaded, env, false);
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_EQ(alerts[0].title, "Help and Support");
    EXPECT_EQ(alerts[0].buttons, std::vector<std::string>{"OK"});
    EXPECT_EQ(integerOf(loaded, "version"), 420);
    // 331 is past the 320 migration: "autobackup" and "filename" are not added.
    EXPECT_FALSE(loaded.contains("autobackup"));

    Value restored = old;
    EXPECT_TRUE(validateSettings(restored, env, true).empty());
    Value withTour = documentWith({}, {{"version", 331}, {"tour", true}});
    EXPECT_TRUE(validateSettings(withTour, env, false).empty());
    // Once migrated, never again.
    EXPECT_TRUE(validateSettings(loaded, env, false).empty());
}

TEST(Validation, LegacyTariffBecomesTwelveSteps) {
    Environment env = pinnedEnvironment();
    Value legacy =
        Value::makeDictionary({{"unit", 0.15}, {"initial", 100}, {"period", "month"}, {"remainder", 0.10}});
    Value doc = documentWith({meterWith({{"name", "E"}, {"tariffs", Value(Array{legacy})}})});
    validateSettings(doc, env, false);
    const Array& tariffs = (*metersOf(doc))[0].find("tariffs")->array();
    ASSERT_EQ(tariffs.size(), 3u);  // short arrays are padded with default tariffs
    const Value& t = tariffs[0];
    EXPECT_TRUE(boolOf(t, "stepped"));
    EXPECT_FALSE(boolOf(t, "monthly", true));
    EXPECT_EQ(
        description(*t.find("rates")),
        "({\"period\"=\"month\";\"rate\"=0.15;\"units\"=100.0;},{\"period\"=\"day\";\"rate\"=0.1;\"units\"=0."
        "0;}" +
            [] {
                std::string rest;
                for (int i = 0; i < 10; ++i)
                    rest += ",{\"period\"=\"day\";\"rate\"=0.0;\"units\"=0.0;}";
                return rest;
            }() +
            ")");
    for (const char* gone : {"unit", "initial", "period", "remainder"})
        EXPECT_FALSE(t.contains(gone)) << gone;
    EXPECT_EQ(tariffs[1].find("rates")->size(), 12u);
}

TEST(Validation, BrokenTariffShapesAreRepaired) {
    Environment env = pinnedEnvironment();
    Value shortRates =
        Value::makeDictionary({{"rates", Value(Array{Value::makeDictionary({{"rate", 0.2}}), Value(7)})}});
    Value doc = documentWith({meterWith({{"tariffs", Value(Array{shortRates, Value("junk")})}}),
                              meterWith({{"tariffs", "not an array"}, {"readings", 5}})});
    validateSettings(doc, env, false);
    const Array& meters = *metersOf(doc);
    const Array& t0 = meters[0].find("tariffs")->array();
    ASSERT_EQ(t0.size(), 3u);
    EXPECT_EQ(t0[0].find("rates")->size(), 12u);
    EXPECT_EQ(realOf(t0[0].find("rates")->array()[0], "rate"), 0.2);
    EXPECT_TRUE(t0[0].find("rates")->array()[1].isDictionary());
    EXPECT_EQ(t0[1].find("rates")->size(), 12u);
    EXPECT_EQ(meters[1].find("tariffs")->size(), 3u);
    EXPECT_EQ(meters[1].find("readings")->toInteger(), 5);  // kept, not thrown away
    EXPECT_EQ(realOf(meters[1], "factor"), 1.0);
}

TEST(Validation, MeterChangeMigrationInsertsAZeroReading) {
    Environment env = pinnedEnvironment();
    auto reading = [](double date, double value, bool isNew = false) {
        Value r = Value::makeDictionary({{"date", Date{date}}, {"reading", Value(Array{value, 0.0, 0.0})}});
        if (isNew) r.set("new", true);
        return r;
    };
    // Newest first: 300 (new meter), 200 (old meter), 100 (new on the oldest: nothing to do).
    Value meter = meterWith(
        {{"readings", Value(Array{reading(3000, 30, true), reading(2000, 20), reading(1000, 10, true)})}});
    Value doc = documentWith({meter});
    validateSettings(doc, env, false);
    const Array& r = (*metersOf(doc))[0].find("readings")->array();
    ASSERT_EQ(r.size(), 4u);
    EXPECT_FALSE(r[0].contains("new"));
    EXPECT_EQ(r[1].find("date")->date().seconds, 2001.0);
    EXPECT_TRUE(boolOf(r[1], "new"));
    EXPECT_EQ(description(*r[1].find("reading")), "(0.0,0.0,0.0)");
    EXPECT_EQ(r[2].find("reading")->array()[0].real(), 20.0);
    EXPECT_EQ(r[2].find("date")->date().seconds, 2000.0);
    EXPECT_TRUE(boolOf(r[3], "new"));
    EXPECT_TRUE(boolOf(doc, "new"));

    // A document that already has "new" is left alone.
    Value current = documentWith({meter}, {{"new", true}});
    validateSettings(current, env, false);
    EXPECT_EQ((*metersOf(current))[0].find("readings")->size(), 3u);
}

TEST(Validation, DisabledMetersAreRemovedInOrder) {
    Environment env = pinnedEnvironment();
    Value doc = documentWith({meterWith({{"name", "A"}, {"enabled", 0}}), meterWith({{"name", "B"}}),
                              meterWith({{"name", "C"}, {"enabled", 0.4}}),
                              meterWith({{"name", "D"}, {"enabled", 2}}), Value("not a meter")});
    Value noEnabled = Value::makeDictionary({{"name", "E"}});
    metersOf(doc)->push_back(noEnabled);
    validateSettings(doc, env, false);
    const Array& meters = *metersOf(doc);
    ASSERT_EQ(meters.size(), 3u);
    EXPECT_EQ(stringOf(meters[0], "name"), "B");
    EXPECT_EQ(stringOf(meters[1], "name"), "D");
    EXPECT_EQ(stringOf(meters[2], "name"), "E");
    EXPECT_EQ(integerOf(meters[2], "enabled"), 1);
}

TEST(Validation, MeterDefaultsAndTypeDerivation) {
    Environment env = pinnedEnvironment();
    struct Row {
        const char* units;
        double factor;
        const char* type;
    };
    for (const Row& row : {Row{"kWh", 1.0, "Electricity"}, Row{"kWh", 11.2, "Gas"}, Row{"m³", 1.0, "Water"},
                           Row{"gal", 1.0, "Other"}, Row{"", 1.0, "Other"}}) {
        Value doc = documentWith(
            {meterWith({{"units", row.units}, {"factor", row.factor}, {"currency", "x"}, {"maximum", 5}})});
        validateSettings(doc, env, false);
        const Value& m = (*metersOf(doc))[0];
        EXPECT_EQ(stringOf(m, "type"), row.type) << row.units << " " << row.factor;
        EXPECT_EQ(integerOf(m, "digits"), 5);
        EXPECT_EQ(integerOf(m, "precision"), 1);
        EXPECT_EQ(integerOf(m, "economy7", -1), 0);
        EXPECT_EQ(stringOf(m, "period2"), "day");
        EXPECT_EQ(stringOf(m, "postcode", "x"), "");
        EXPECT_EQ(stringOf(m, "house", "x"), "");
        EXPECT_FALSE(m.contains("currency"));
        EXPECT_FALSE(m.contains("maximum"));
        EXPECT_TRUE(m.find("tax")->isReal());
    }
}

TEST(Validation, CurrencyCodes) {
    struct Row {
        const char* locale;
        const char* given;  // nullptr: no "code"
        const char* expected;
    };
    const Row rows[] = {
        {"en_GB", nullptr, "GBP"}, {"ja_JP", nullptr, "JPY"}, {"fr_FR", nullptr, "EUR"},
        {"en_US", nullptr, "USD"}, {"es_VE", nullptr, "USD"},  // VES is not in the symbol table
        {"en_GB", "XYZ", "USD"},   {"en_GB", "TRY", "TRY"},   {"en_GB", "-", "-"},
    };
    for (const Row& row : rows) {
        Environment env = pinnedEnvironment(row.locale);
        Value m = meterWith({});
        if (row.given) m.set("code", row.given);
        Value doc = documentWith({m});
        validateSettings(doc, env, false);
        EXPECT_EQ(stringOf((*metersOf(doc))[0], "code"), row.expected)
            << row.locale << " " << (row.given ? row.given : "");
    }
}

TEST(Validation, UnitsListIsBuiltOnceAndSortedIgnoringCase) {
    Environment env = pinnedEnvironment();
    Value doc = documentWith({meterWith({{"units", "litres"}}), meterWith({{"units", "Gallons"}}),
                              meterWith({{"units", "kWh"}}), meterWith({{"units", "BTU"}})});
    validateSettings(doc, env, false);
    EXPECT_EQ(description(*doc.find("units")), R"(("BTU","ft³","Gallons","kWh","litres","m³"))");
    // An existing list is the user's: validation leaves it as it is.
    metersOf(doc)->push_back(meterWith({{"units", "tonnes"}}));
    validateSettings(doc, env, false);
    EXPECT_EQ(doc.find("units")->size(), 6u);
}

TEST(Validation, ReviewDateDependsOnAFreshInstallation) {
    Environment env = pinnedEnvironment();
    Calendar calendar(env);
    Value used = firstLaunchDocument();
    (*metersOf(used))[0]
        .find("readings")
        ->array()
        .push_back(Value::makeDictionary({{"date", Date{1.0}}, {"reading", Value(Array{1.0, 0.0, 0.0})}}));
    validateSettings(used, env, false);
    EXPECT_EQ(used.find("review")->date(), calendar.addDays(env.now(), 7));

    Value four = documentWith({meterWith({}), meterWith({}), meterWith({}), meterWith({})});
    validateSettings(four, env, false);
    EXPECT_EQ(four.find("review")->date(), calendar.addDays(env.now(), 7));

    // Thirty calendar days keep the wall-clock time across the change to summer time.
    Environment spring = pinnedEnvironment("en_GB", "Europe/London", "2026-03-20T12:00:00Z");
    Value fresh = firstLaunchDocument();
    validateSettings(fresh, spring, false);
    EXPECT_EQ(fresh.find("review")->date(), at("2026-04-19T11:00:00Z"));
}

TEST(Validation, RangeFollowsPeriodAndRemovedKeysGo) {
    Environment env = pinnedEnvironment();
    Value yearly = documentWith({}, {{"period", 4}, {"restore", true}, {"current", 1}});
    validateSettings(yearly, env, false);
    EXPECT_EQ(integerOf(yearly, "range", -1), 0);
    EXPECT_FALSE(yearly.contains("restore"));
    EXPECT_FALSE(yearly.contains("current"));
    EXPECT_EQ(metersOf(yearly)->size(), 0u);  // no meters stay no meters
}

TEST(Validation, NonDocumentsBecomeEmptyDocuments) {
    Environment env = pinnedEnvironment();
    Value junk("not a document");
    validateSettings(junk, env, true);
    EXPECT_TRUE(junk.isDictionary());
    EXPECT_EQ(metersOf(junk)->size(), 0u);
    Value badSettings = Value::makeDictionary({{"settings", 12}});
    validateSettings(badSettings, env, true);
    EXPECT_TRUE(badSettings.find("settings")->isArray());
}

}  // namespace
}  // namespace numbrel
