#include "plist/description.h"

#include <gtest/gtest.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <random>

#include "plist/md5.h"
#include "store/app_delegate.h"

namespace numbrel {
namespace {

TEST(Description, IsCompactDeterministicAndTyped) {
    Value v = Value::makeDictionary({
        {"z", Value(Array{Value(1), Value(1.0), Value(0.1), Value(true)})},
        {"a", "say \"hi\"\n\\"},
        {"d", Value(Date{415696502.5})},
        {"b", Value(Data{0x0A, 0xFF})},
        {"u", Value::uid(3)},
        {"e", Value::emptyDictionary()},
    });
    EXPECT_EQ(description(v),
              "{\"a\"=\"say \\\"hi\\\"\\n\\\\\";\"b\"=<0aff>;\"d\"=@415696502.5;\"e\"={};\"u\"=<uid 3>;"
              "\"z\"=(1,1.0,0.1,true);}");
}

TEST(Description, DoublesReadBackExactly) {
    std::mt19937_64 random(42);
    for (int i = 0; i < 10000; ++i) {
        double d = std::bit_cast<double>(random());
        if (!std::isfinite(d)) continue;
        std::string text = shortestDouble(d);
        EXPECT_EQ(std::bit_cast<std::uint64_t>(std::strtod(text.c_str(), nullptr)),
                  std::bit_cast<std::uint64_t>(d))
            << text;
    }
    EXPECT_EQ(shortestDouble(0.1), "0.1");
    EXPECT_EQ(shortestDouble(100.0, true), "100.0");
    EXPECT_EQ(shortestDouble(1e21, true), "1e+21");
}

TEST(Description, NumbersWithFewDecimalsAreWrittenAsTheShortestFormWritesThem) {
    // Readings, rates and factors take a quicker path that must give the text of the shortest form
    // (which the descriptions of stored backups were made with): digits over a power of ten of every
    // size, near the switch to exponent notation and near the limits of exactness, both signs.
    std::mt19937_64 random(5);
    auto expected = [](double d) {
        char text[40];
        char* end = std::to_chars(text, text + sizeof text, d).ptr;
        std::string s(text, end);
        if (s.find_first_of(".e") == std::string::npos) s += ".0";
        return s;
    };
    static const double kPowers[] = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9};
    for (int i = 0; i < 200000; ++i) {
        const int digits = 1 + static_cast<int>(random() % 16);
        std::uint64_t m = random() % static_cast<std::uint64_t>(std::pow(10.0, digits));
        double d = static_cast<double>(m) / kPowers[random() % 10];
        if (random() % 2) d = -d;
        if (d == std::trunc(d)) continue;  // whole numbers have their own path
        ASSERT_EQ(shortestDouble(d, true), expected(d)) << m;
        const double next = std::nextafter(d, 2 * d);  // a neighbour that is no short decimal
        ASSERT_EQ(shortestDouble(next, true), expected(next));
    }
    for (double d :
         {0.001, 0.0015, 0.000999, 0.0125, 0.005, 0.05, 999999999.5, 1e9 + 0.5, 0.1 + 0.2, 1.0 / 3})
        EXPECT_EQ(shortestDouble(d, true), expected(d)) << d;
}

TEST(Description, SkipsOnlyTopLevelKeys) {
    Value v = Value::makeDictionary(
        {{"meter", 1}, {"settings", Value(Array{Value::makeDictionary({{"meter", 2}})})}});
    std::string out;
    appendDescription(out, v, {"meter"});
    EXPECT_EQ(out, "{\"settings\"=({\"meter\"=2;});}");
}

TEST(Md5, KnownDigests) {
    EXPECT_EQ(MD5StringOfString(""), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(MD5StringOfString("abc"), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(MD5StringOfString("m³"), MD5StringOfString("m\xC2\xB3"));
}

TEST(Md5, FingerprintIgnoresViewStateButNotData) {
    Value doc = Value::makeDictionary({{"settings", Value(Array{})}, {"black", false}});
    std::string base = MD5StringOfSettings(doc);
    for (const char* key : {"autobackup", "filename", "graph", "icloud", "meter", "new", "next", "period",
                            "range", "review", "root", "tips", "tour", "version"}) {
        Value changed = doc;
        changed.set(key, 12345);
        EXPECT_EQ(MD5StringOfSettings(changed), base) << key;
    }
    for (const char* key : {"black", "average", "theme", "units", "email", "zero", "reminders"}) {
        Value changed = doc;
        changed.set(key, 12345);
        EXPECT_NE(MD5StringOfSettings(changed), base) << key;
    }
    EXPECT_EQ(base.size(), 32u);
}

}  // namespace
}  // namespace numbrel

namespace numbrel {
namespace {

TEST(Description, OnePassForTwoConsumers) {
    // Big enough to be handed over in several pieces, with skipped entries (a big one among them)
    // between kept ones.
    Array big;
    for (int i = 0; i < 20001; ++i)
        big.push_back(
            Value::makeDictionary({{"date", Date{i * 86400.0}}, {"reading", Value(Array{i * 0.5, 0.0})}}));
    Value doc = Value::makeDictionary({{"a", 1},
                                       {"filename", "x.bak"},
                                       {"graph", Value(big)},
                                       {"meter", 2},
                                       {"settings", Value(big)},
                                       {"tips", true},
                                       {"z", "end"}});
    std::string all, filtered;
    streamDescription(
        doc, {"filename", "graph", "meter", "tips"}, [&](std::string_view p) { all += p; },
        [&](std::string_view p) { filtered += p; });
    EXPECT_EQ(all, description(doc));
    std::string expected;
    appendDescription(expected, doc, {"filename", "graph", "meter", "tips"});
    EXPECT_EQ(filtered, expected);
}

}  // namespace
}  // namespace numbrel
