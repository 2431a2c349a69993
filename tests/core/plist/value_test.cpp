#include "plist/value.h"

#include <gtest/gtest.h>

namespace numbrel {
namespace {

TEST(Value, LenientReadersConvertAsTheDocumentsReadersDo) {
    struct Row {
        const char* name;
        Value value;
        bool asBool;
        std::int64_t asInteger;
        double asReal;
    };
    const Row rows[] = {
        {"true", Value(true), true, 1, 1.0},
        {"false", Value(false), false, 0, 0.0},
        {"integer", Value(3), true, 3, 3.0},
        {"zero integer", Value(0), false, 0, 0.0},
        {"real truncates toward zero", Value(2.9), true, 2, 2.9},
        {"negative real truncates toward zero", Value(-2.9), true, -2, -2.9},
        {"small real is still true", Value(0.1), true, 0, 0.1},
        {"numeric string", Value("12abc"), true, 12, 12.0},
        {"YES string", Value("YES"), true, 0, 0.0},
        {"zero string", Value("0"), false, 0, 0.0},
        {"huge real clamps", Value(1e300), true, INT64_MAX, 1e300},
        {"date is no number", Value(Date{5.0}), false, 0, 0.0},
    };
    for (const Row& r : rows) {
        EXPECT_EQ(r.value.toBool(), r.asBool) << r.name;
        EXPECT_EQ(r.value.toInteger(), r.asInteger) << r.name;
        EXPECT_DOUBLE_EQ(r.value.toReal(), r.asReal) << r.name;
    }
}

TEST(Value, DictionaryKeepsKeysSortedAndUnique) {
    Value d = Value::emptyDictionary();
    d.set("zero", 1);
    d.set("at", 2);
    d.set("meter", 3);
    d.set("at", 4);
    ASSERT_EQ(d.size(), 3u);
    EXPECT_EQ(d.dictionary()[0].key.view(), "at");
    EXPECT_EQ(d.dictionary()[1].key.view(), "meter");
    EXPECT_EQ(d.dictionary()[2].key.view(), "zero");
    EXPECT_EQ(integerOf(d, "at"), 4);
    EXPECT_TRUE(d.erase("meter"));
    EXPECT_FALSE(d.erase("meter"));
    EXPECT_EQ(d.find("meter"), nullptr);
    EXPECT_EQ(integerOf(d, "missing", 9), 9);
}

TEST(Value, CopiesAreDeepAndMovesLeaveAHarmlessValue) {
    Value a = Value::makeDictionary({{"readings", Value(Array{Value(1.0)})}});
    Value b = a;
    b.find("readings")->array().push_back(Value(2.0));
    EXPECT_EQ(a.find("readings")->size(), 1u);
    EXPECT_EQ(b.find("readings")->size(), 2u);
    EXPECT_FALSE(a == b);
    Value c = std::move(b);
    EXPECT_EQ(c.find("readings")->size(), 2u);
    EXPECT_TRUE(b.isBool());  // NOLINT(bugprone-use-after-move): the moved-from state is defined
}

TEST(Value, LookupsBySharedKeysMatchLookupsByText) {
    // More than eight keys, the system's own mixed with foreign ones, so that the search by address
    // meets keys of both kinds.
    Value d = Value::emptyDictionary();
    for (const char* k :
         {"zeta", "date", "alpha", "readings", "Mixed", "to", "units", "meter", "x1", "rate", "new", ""})
        d.set(k, Value(std::string(k)));
    for (const auto& e : d.dictionary()) {
        Key key(e.key.view());
        ASSERT_NE(d.find(key), nullptr) << e.key.view();
        EXPECT_EQ(d.find(key)->string(), e.key.view());
        EXPECT_EQ(d.find(key), d.find(e.key.view()));
    }
    for (const char* missing : {"tariffs", "aaa", "zz", "readings2"}) {
        EXPECT_EQ(d.find(Key(missing)), nullptr) << missing;
        EXPECT_EQ(d.find(std::string_view(missing)), nullptr) << missing;
    }
    EXPECT_TRUE(Key("date").isShared());
    EXPECT_FALSE(Key("zeta").isShared());
    Key copy = Key("zeta");
    EXPECT_EQ(copy, Key("zeta"));
}

TEST(Value, LookupsOnOtherTypesFindNothing) {
    Value s("text");
    EXPECT_EQ(s.find("key"), nullptr);
    EXPECT_EQ(s.at(0), nullptr);
    EXPECT_EQ(s.size(), 0u);
    Value a(Array{Value(1)});
    EXPECT_EQ(a.at(1), nullptr);
    EXPECT_EQ(arrayOf(Value::makeDictionary({{"readings", "not an array"}}), "readings"), nullptr);
}

TEST(Value, EqualityDistinguishesTypes) {
    EXPECT_FALSE(Value(1) == Value(1.0));
    EXPECT_FALSE(Value(true) == Value(1));
    EXPECT_FALSE(Value(Date{1.0}) == Value(1.0));
    EXPECT_TRUE(Value("a") == Value(std::string("a")));
}

}  // namespace
}  // namespace numbrel
