#include "plist/binary_plist.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>

#include "plist/description.h"

namespace numbrel {
namespace {

// Assembles a binary plist from raw object encodings, so that any field can be made wrong.
struct Assembly {
    std::vector<std::string> objects;
    unsigned refSize = 1;
    unsigned offsetSize = 1;
    std::uint64_t top = 0;
    std::int64_t numObjectsDelta = 0;
    std::int64_t tableOffsetDelta = 0;

    std::string bytes() const {
        std::string out = "bplist00";
        std::vector<std::uint64_t> offsets;
        for (const auto& o : objects) {
            offsets.push_back(out.size());
            out += o;
        }
        std::uint64_t table = out.size();
        for (auto off : offsets)
            for (unsigned i = offsetSize; i-- > 0;)
                out += static_cast<char>(i < 8 ? (off >> (8 * i)) & 0xFF : 0);
        out.append(6, '\0');
        out += static_cast<char>(offsetSize);
        out += static_cast<char>(refSize);
        auto put8 = [&](std::uint64_t v) {
            for (int i = 7; i >= 0; --i)
                out += static_cast<char>((v >> (8 * i)) & 0xFF);
        };
        put8(objects.size() + numObjectsDelta);
        put8(top);
        put8(table + tableOffsetDelta);
        return out;
    }
};

std::string raw(std::initializer_list<int> bytes) {
    std::string s;
    for (int b : bytes)
        s += static_cast<char>(b);
    return s;
}

Value sample() {
    Value doc = Value::makeDictionary({
        {"bool", true},
        {"false", false},
        {"small", 7},
        {"byte", 255},
        {"short", 256},
        {"int32", 4294967295LL},
        {"big", std::numeric_limits<std::int64_t>::max()},
        {"min", std::numeric_limits<std::int64_t>::min()},
        {"negative", -1},
        {"real", 0.1},
        {"negzero", -0.0},
        {"denormal", std::numeric_limits<double>::denorm_min()},
        {"inf", std::numeric_limits<double>::infinity()},
        {"date", Date{415696502.123456789}},
        {"ancient", Date{-63113904000.5}},
        {"ascii", "Electricity"},
        {"unicode", "m³ Électricité 電気 🔌"},
        {"empty", ""},
        {"data", Value(Data{0, 1, 2, 0xFF})},
        {"emptyArray", Value::emptyArray()},
        {"emptyDict", Value::emptyDictionary()},
        {"uid", Value::uid(70000)},
    });
    Array many;
    for (int i = 0; i < 300; ++i)
        many.push_back(Value(i * 0.5));
    doc.set("many", Value(std::move(many)));
    Array nested{Value::makeDictionary({{"date", Date{1.5}}, {"reading", Value(Array{1.0, 2.0, 3.0})}})};
    doc.set("nested", Value(std::move(nested)));
    return doc;
}

TEST(BinaryPlist, RoundTripIsExactForEveryType) {
    Value original = sample();
    std::string bytes = writeBinaryPlist(original);
    PlistResult back = readBinaryPlist(bytes);
    ASSERT_TRUE(back.ok()) << back.error;
    EXPECT_EQ(back.value, original);
    EXPECT_EQ(description(back.value), description(original));
    // Doubles bit for bit, including the sign of zero.
    EXPECT_TRUE(std::signbit(back.value.find("negzero")->real()));
    EXPECT_EQ(std::bit_cast<std::uint64_t>(back.value.find("date")->date().seconds),
              std::bit_cast<std::uint64_t>(415696502.123456789));
}

TEST(BinaryPlist, NaNRoundTrips) {
    Value v(Array{std::numeric_limits<double>::quiet_NaN()});
    PlistResult back = readBinaryPlist(writeBinaryPlist(v));
    ASSERT_TRUE(back.ok());
    EXPECT_TRUE(std::isnan(back.value.array()[0].real()));
}

TEST(BinaryPlist, EqualScalarsAreStoredOnce) {
    Array readings;
    for (int i = 0; i < 1000; ++i)
        readings.push_back(Value::makeDictionary({{"reading", Value(Array{0.0, 0.0, 0.0})}}));
    std::string bytes = writeBinaryPlist(Value(std::move(readings)));
    // 1000 dictionaries + 1000 arrays + one key + one zero + the top array: about 18 kB. Without
    // sharing, the 3000 zeros alone would take 27 kB more.
    EXPECT_LT(bytes.size(), 20000u);
    EXPECT_TRUE(readBinaryPlist(bytes).ok());
}

TEST(BinaryPlist, LargeDocumentUsesWideReferences) {
    Array items;
    for (int i = 0; i < 70000; ++i)
        items.push_back(Value(static_cast<double>(i)));
    Value v(std::move(items));
    PlistResult back = readBinaryPlist(writeBinaryPlist(v));
    ASSERT_TRUE(back.ok()) << back.error;
    EXPECT_EQ(back.value, v);
}

TEST(BinaryPlist, DuplicateKeysKeepTheLast) {
    Assembly a;
    a.objects = {raw({0xD2, 1, 1, 2, 3}), raw({0x51, 'k'}), raw({0x10, 1}), raw({0x10, 2})};
    PlistResult r = readBinaryPlist(a.bytes());
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(r.value.size(), 1u);
    EXPECT_EQ(r.value.find("k")->integer(), 2);
}

TEST(BinaryPlist, ReadsLegacyEncodings) {
    Assembly a;
    // Array of: a 4-byte float, a 16-byte integer, a Latin-1 "ASCII" string, a set.
    a.objects = {raw({0xA4, 1, 2, 3, 4}), raw({0x22, 0x3F, 0xC0, 0x00, 0x00}),
                 raw({0x14, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x01, 0x00}), raw({0x52, 'm', 0xB3}),
                 raw({0xC1, 1})};
    PlistResult r = readBinaryPlist(a.bytes());
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(r.value.array()[0].real(), 1.5);
    EXPECT_EQ(r.value.array()[1].integer(), 256);
    EXPECT_EQ(r.value.array()[2].string(), "m³");
    EXPECT_EQ(r.value.array()[3].array()[0].real(), 1.5);
}

struct Malformed {
    const char* name;
    std::string bytes;
};

std::vector<Malformed> malformedFiles() {
    std::vector<Malformed> cases;
    Assembly ok;
    ok.objects = {raw({0xA1, 1}), raw({0x10, 5})};
    cases.push_back({"empty", ""});
    cases.push_back({"bad magic", "bplist01" + ok.bytes().substr(8)});
    cases.push_back({"truncated", ok.bytes().substr(0, ok.bytes().size() - 1)});
    {
        Assembly a = ok;
        a.refSize = 0;
        cases.push_back({"zero reference size", a.bytes()});
    }
    {
        Assembly a = ok;
        a.offsetSize = 9;
        cases.push_back({"offset size above 8", a.bytes()});
    }
    {
        Assembly a = ok;
        a.top = 2;
        cases.push_back({"top object out of range", a.bytes()});
    }
    {
        Assembly a = ok;
        a.numObjectsDelta = 1000000;
        cases.push_back({"offset table past the end", a.bytes()});
    }
    {
        Assembly a = ok;
        a.tableOffsetDelta = 1 << 20;
        cases.push_back({"table offset past the end", a.bytes()});
    }
    {
        Assembly a = ok;
        a.numObjectsDelta = -2;
        cases.push_back({"no objects", a.bytes()});
    }
    {
        Assembly a;
        a.objects = {raw({0xA1, 7})};
        cases.push_back({"reference out of range", a.bytes()});
    }
    {
        Assembly a;
        a.objects = {raw({0xA1, 1}), raw({0xA1, 0})};
        cases.push_back({"reference cycle", a.bytes()});
    }
    {
        Assembly a;
        a.objects = {raw({0xA1, 0})};
        cases.push_back({"array containing itself", a.bytes()});
    }
    {
        Assembly a;
        a.objects = {raw({0xAF, 0x13, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 1})};
        cases.push_back({"count larger than the file", a.bytes()});
    }
    {
        Assembly a;
        a.objects = {raw({0x5F, 0x10, 200, 'a'})};
        cases.push_back({"string longer than the file", a.bytes()});
    }
    {
        Assembly a;
        a.objects = {raw({0xD1, 1, 1}), raw({0x10, 5})};
        cases.push_back({"integer key", a.bytes()});
    }
    {
        Assembly a;
        a.objects = {raw({0x00})};
        cases.push_back({"null", a.bytes()});
    }
    {
        Assembly a;
        a.objects = {raw({0x70})};
        cases.push_back({"unknown type", a.bytes()});
    }
    {
        Assembly a;
        a.objects = {raw({0x15, 0})};
        cases.push_back({"integer of 32 bytes", a.bytes()});
    }
    {
        Assembly a;
        a.objects = {raw({0x14, 0x7F, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})};
        cases.push_back({"integer beyond 64 bits", a.bytes()});
    }
    {
        // 513 nested arrays.
        Assembly a;
        for (int i = 0; i < 513; ++i)
            a.objects.push_back(raw({0xA1}) + std::string(2, '\0'));
        a.refSize = 2;
        a.offsetSize = 2;
        for (int i = 0; i < 513; ++i) {
            a.objects[i][1] = static_cast<char>(((i + 1) >> 8) & 0xFF);
            a.objects[i][2] = static_cast<char>((i + 1) & 0xFF);
        }
        a.objects.push_back(raw({0x10, 1}));
        cases.push_back({"nesting deeper than 512", a.bytes()});
    }
    {
        // Each array refers twice to the next: 2^40 nodes if expanded.
        Assembly a;
        for (int i = 0; i < 40; ++i)
            a.objects.push_back(raw({0xA2, i + 1, i + 1}));
        a.objects.push_back(raw({0x10, 1}));
        cases.push_back({"exponential sharing", a.bytes()});
    }
    return cases;
}

TEST(BinaryPlist, MalformedFilesAreErrorsNotCrashes) {
    for (const Malformed& m : malformedFiles()) {
        PlistResult r = readBinaryPlist(m.bytes);
        EXPECT_FALSE(r.ok()) << m.name;
        EXPECT_FALSE(r.error.empty()) << m.name;
    }
}

TEST(BinaryPlist, DeepButLegalNestingReads) {
    Value v(Array{});
    for (int i = 0; i < 511; ++i)
        v = Value(Array{std::move(v)});
    PlistResult r = readBinaryPlist(writeBinaryPlist(v));
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(r.value, v);
}

TEST(BinaryPlist, MegabyteOfNestedArraysIsRefusedQuickly) {
    // The file shape that makes other readers overflow their stack: 300,000 arrays, each holding
    // the next, with 3-byte references.
    constexpr int kDepth = 300000;
    std::string out = "bplist00";
    std::vector<std::uint32_t> offsets;
    for (int i = 0; i < kDepth; ++i) {
        offsets.push_back(static_cast<std::uint32_t>(out.size()));
        int next = i + 1 < kDepth ? i + 1 : i;
        out += raw({0xA1, (next >> 16) & 0xFF, (next >> 8) & 0xFF, next & 0xFF});
    }
    std::uint32_t table = static_cast<std::uint32_t>(out.size());
    for (auto off : offsets)
        out += raw({static_cast<int>(off >> 16) & 0xFF, static_cast<int>(off >> 8) & 0xFF,
                    static_cast<int>(off) & 0xFF});
    out.append(6, '\0');
    out += raw({3, 3});
    out += raw({0, 0, 0, 0, 0, (kDepth >> 16) & 0xFF, (kDepth >> 8) & 0xFF, kDepth & 0xFF});
    out.append(8, '\0');
    out += raw({0, 0, 0, 0, 0, static_cast<int>(table >> 16) & 0xFF, static_cast<int>(table >> 8) & 0xFF,
                static_cast<int>(table) & 0xFF});
    ASSERT_GT(out.size(), 900000u);
    PlistResult r = readBinaryPlist(out);
    EXPECT_FALSE(r.ok());
    EXPECT_EQ(r.error, "nesting too deep");
}

TEST(BinaryPlist, EveryTruncationOfAValidFileIsHandled) {
    std::string bytes = writeBinaryPlist(sample());
    for (std::size_t n = 0; n < bytes.size(); ++n) {
        PlistResult r = readBinaryPlist(std::string_view(bytes).substr(0, n));
        EXPECT_FALSE(r.ok()) << n;
    }
}

}  // namespace
}  // namespace numbrel
