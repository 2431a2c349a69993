#include "byte_ranges.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "http_server.h"
#include "reachability.h"

namespace numbrel::net {
namespace {

// "206 first-last,first-last", "200" or "416", to compare with the tables of nginx's range.t and
// Go's ServeFile tests.
std::string answer(const char* header, std::uint64_t length) {
    RangeAnswer a = parseRange(header, length);
    switch (a.kind) {
        case RangeAnswer::Kind::Whole:
            return "200";
        case RangeAnswer::Kind::Unsatisfiable:
            return "416";
        case RangeAnswer::Kind::Partial:
            break;
    }
    std::string out = "206";
    for (std::size_t i = 0; i < a.ranges.size(); ++i)
        out += (i ? "," : " ") + std::to_string(a.ranges[i].first) + "-" + std::to_string(a.ranges[i].last);
    return out;
}

TEST(ByteRanges, OneRange) {
    // A 1000-byte file.
    EXPECT_EQ(answer("bytes=0-9", 1000), "206 0-9");
    EXPECT_EQ(answer("bytes=10-", 1000), "206 10-999");
    EXPECT_EQ(answer("bytes=-10", 1000), "206 990-999");
    EXPECT_EQ(answer("bytes=-2000", 1000), "206 0-999") << "a suffix longer than the file is the file";
    EXPECT_EQ(answer("bytes=990-2000", 1000), "206 990-999") << "an end past the file is clamped";
    EXPECT_EQ(answer("bytes=999-999", 1000), "206 999-999");
    EXPECT_EQ(answer("bytes = 0 - 9", 1000), "206 0-9");
    EXPECT_EQ(answer("BYTES=0-9", 1000), "206 0-9");
    EXPECT_EQ(answer("bytes=0-", 1000), "206 0-999");
}

TEST(ByteRanges, NotSatisfiable) {
    EXPECT_EQ(answer("bytes=1000-", 1000), "416");
    EXPECT_EQ(answer("bytes=1000-1001", 1000), "416");
    EXPECT_EQ(answer("bytes=-0", 1000), "416");
    EXPECT_EQ(answer("bytes=2000-3000,1500-", 1000), "416");
    EXPECT_EQ(answer("bytes=1-", 0), "416");
    // An empty file is sent whole where the range starts at its start (nginx).
    EXPECT_EQ(answer("bytes=0-", 0), "200");
    EXPECT_EQ(answer("bytes=-5", 0), "200");
}

TEST(ByteRanges, InvalidHeadersAreIgnored) {
    for (const char* bad : {"", "bytes", "bytes=", "bytes=,", "bytes=x-1", "bytes=1-x", "bytes=5-1",
                            "bytes=--5", "items=0-9", "bytes=0-9;", "bytes=0-9 10-19", "bytes=1-2-3",
                            "bytes=99999999999999999999999-", "bytes=-99999999999999999999999"})
        EXPECT_EQ(answer(bad, 1000), "200") << bad;
}

TEST(ByteRanges, SeveralRanges) {
    EXPECT_EQ(answer("bytes=0-9,20-29", 1000), "206 0-9,20-29");
    EXPECT_EQ(answer("bytes=0-9, -10", 1000), "206 0-9,990-999");
    EXPECT_EQ(answer("bytes=0-9,,20-29", 1000), "206 0-9,20-29");
    EXPECT_EQ(answer("bytes=0-9,2000-3000", 1000), "206 0-9") << "unsatisfiable pieces are left out";
    EXPECT_EQ(answer("bytes=0-5,3-8", 1000), "206 0-5,3-8") << "overlaps are sent as asked while small";
    EXPECT_EQ(answer("bytes=0-,0-", 1000), "200") << "more than the file: the file";
    EXPECT_EQ(answer("bytes=0-600,500-999", 1000), "200");
    std::string many = "bytes=0-0";
    for (int i = 1; i <= 64; ++i)
        many += "," + std::to_string(i * 2) + "-" + std::to_string(i * 2);
    EXPECT_EQ(answer(many.c_str(), 1000), "200") << "65 ranges are not worth answering in pieces";
}

TEST(HostCheck, OnlyNamesOfThisMachine) {
    char name[256] = {};
    ASSERT_EQ(::gethostname(name, sizeof name - 1), 0);
    const std::string self = name;
    for (const std::string& ok :
         {std::string("localhost"), std::string("LOCALHOST:8080"), std::string("127.0.0.1:1"),
          std::string("127.0.0.2"), std::string("[::1]:80"), self, self + ".local:80", self + ".local.",
          std::string("nas.example")})
        EXPECT_TRUE(hostNamesThisMachine(ok, {"nas.example"})) << ok;
    for (const std::string& bad : {std::string("attacker.example"), std::string("attacker.example:80"),
                                   std::string("127.0.0.1.attacker.example"), std::string(""),
                                   std::string("[::1"), self + ".attacker.example"})
        EXPECT_FALSE(hostNamesThisMachine(bad, {"nas.example"})) << bad;
}

TEST(LocalAddress, WirelessFirstThenTheDefaultRoute) {
    const std::string routes =
        "Iface\tDestination\tGateway\tFlags\tRefCnt\tUse\tMetric\tMask\n"
        "eth0\t00000000\t0101A8C0\t0003\t0\t0\t100\t00000000\n"
        "eth0\t0001A8C0\t00000000\t0001\t0\t0\t100\t00FFFFFF\n";
    EXPECT_EQ(
        chooseLocalAddress(
            {{"lo", "127.0.0.1"}, {"eth0", "192.168.1.5"}, {"wlp2s0", "192.168.1.9"}, {"wlan1", "10.0.0.7"}},
            routes),
        "10.0.0.7")
        << "the last wireless address wins";
    EXPECT_EQ(
        chooseLocalAddress({{"lo", "127.0.0.1"}, {"docker0", "172.17.0.1"}, {"eth0", "192.168.1.5"}}, routes),
        "192.168.1.5");
    EXPECT_EQ(chooseLocalAddress({{"lo", "127.0.0.1"}, {"eth0", "192.168.1.5"}}, "Iface\tDestination\n"),
              "(error)");
    EXPECT_EQ(chooseLocalAddress({}, routes), "(error)");
}

}  // namespace
}  // namespace numbrel::net
