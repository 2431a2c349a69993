#include "exchange/nearby_transfer.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/test_support.h"

namespace numbrel {
namespace {

namespace fs = std::filesystem;

// Keeps what is sent; the send numbered failAt fails.
struct RecordingChannel : ByteChannel {
    bool send(std::string_view message) override {
        if (static_cast<int>(messages.size()) == failAt) return false;
        messages.emplace_back(message);
        return true;
    }
    std::vector<std::string> messages;
    int failAt = -1;
};

class NearbyTransfer : public ::testing::Test {
protected:
    NearbyTransfer() {
        fs::create_directories(from_);
        fs::create_directories(to_);
    }
    // Sends a file of these bytes and hands every message to a receiver in the other folder.
    NearbyReceiver::State transfer(const std::string& name, const std::string& bytes) {
        test::writeFile(from_ + "/" + name, bytes);
        channel_.messages.clear();
        EXPECT_FALSE(sendNearby(channel_, from_ + "/" + name));
        NearbyReceiver receiver(to_);
        for (const std::string& m : channel_.messages)
            receiver.receive(m);
        return receiver.state();
    }
    std::vector<std::string> filesThere() const {
        std::vector<std::string> names;
        for (const auto& e : fs::directory_iterator(to_))
            names.push_back(e.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    test::TempDir dir_;
    std::string from_ = dir_.file("sender"), to_ = dir_.file("Documents");
    RecordingChannel channel_;
};

TEST_F(NearbyTransfer, FilesGoAsNameLengthAndPieces) {
    // Exactly one piece: name, length, piece.
    const std::string one(51200, 'x');
    EXPECT_EQ(transfer("nb20261101@080000.bak", one), NearbyReceiver::State::Received);
    ASSERT_EQ(channel_.messages.size(), 3u);
    EXPECT_EQ(channel_.messages[0], "nb20261101@080000.bak");
    EXPECT_EQ(channel_.messages[1], "51200");
    EXPECT_EQ(channel_.messages[2].size(), 51200u);
    EXPECT_EQ(test::readFile(to_ + "/nb20261101@080000.bak"), one);

    // Empty: received as soon as its length is known.
    EXPECT_EQ(transfer("empty.csv", ""), NearbyReceiver::State::Received);
    EXPECT_EQ(channel_.messages, (std::vector<std::string>{"empty.csv", "0"}));
    EXPECT_TRUE(fs::exists(to_ + "/empty.csv"));
    EXPECT_EQ(fs::file_size(to_ + "/empty.csv"), 0u);

    // 10 MB: full pieces and a shorter last one, byte for byte; an older file of the name is replaced.
    std::string big(10'000'000, '\0');
    for (std::size_t i = 0; i < big.size(); ++i)
        big[i] = static_cast<char>((i * 131) >> 7);
    test::writeFile(to_ + "/big.bak", "older");
    EXPECT_EQ(transfer("big.bak", big), NearbyReceiver::State::Received);
    ASSERT_EQ(channel_.messages.size(), 2u + 196u);
    EXPECT_EQ(channel_.messages.back().size(), 10'000'000u - 195u * 51200u);
    EXPECT_EQ(test::readFile(to_ + "/big.bak"), big);
    EXPECT_EQ(filesThere(), (std::vector<std::string>{"big.bak", "empty.csv", "nb20261101@080000.bak"}));
}

TEST_F(NearbyTransfer, TheReceiverRefusesWhatCouldHarmTheFolder) {
    auto refused = [&](std::vector<std::string> messages) {
        NearbyReceiver r(to_);
        for (const std::string& m : messages)
            r.receive(m);
        EXPECT_EQ(r.state(), NearbyReceiver::State::Refused) << messages[0];
        return r.problem();
    };
    for (const char* name : {"../escape.bak", "a/b.bak", "..", ".hidden", "", "tab\there", "caf\xc3\xa9.bak"})
        EXPECT_EQ(refused({name, "1", "x"}), "the file name cannot be used here");
    EXPECT_EQ(refused({"a.bak", "1073741825"}), "the file is larger than 1 GB");
    EXPECT_EQ(refused({"a.bak", "-1"}), "the file's length is not a number");
    EXPECT_EQ(refused({"a.bak", "12abc"}), "the file's length is not a number");
    EXPECT_EQ(refused({"a.bak", "99999999999999999999999"}), "the file's length is not a number");
    // A lying length: more bytes than announced, whether in one piece or after the end.
    EXPECT_EQ(refused({"a.bak", "3", "abcd"}), "more bytes came than were announced");
    EXPECT_EQ(refused({"b.bak", "2", "ab", "c"}), "more bytes came than were announced");
    // Cut short: nothing takes the name, and no temporary stays.
    NearbyReceiver cut(to_);
    cut.receive("c.bak");
    cut.receive("10");
    cut.receive("abc");
    EXPECT_EQ(cut.received(), 3u);
    cut.disconnected();
    EXPECT_EQ(cut.state(), NearbyReceiver::State::Refused);
    // Only "b.bak" was whole before its extra byte came; nothing else, and no hidden leftovers.
    EXPECT_EQ(filesThere(), (std::vector<std::string>{"b.bak"}));
}

TEST_F(NearbyTransfer, TheSenderStopsAtTheFirstFailedMessage) {
    test::writeFile(from_ + "/a.bak", std::string(120000, 'a'));
    channel_.failAt = 3;
    EXPECT_EQ(sendNearby(channel_, from_ + "/a.bak"), "Failed to send data");
    EXPECT_EQ(channel_.messages.size(), 3u);
    RecordingChannel fresh;
    EXPECT_TRUE(sendNearby(fresh, from_ + "/missing.bak"));
    EXPECT_TRUE(fresh.messages.empty());
    test::writeFile(from_ + "/caf\xc3\xa9.bak", "x");
    EXPECT_TRUE(sendNearby(fresh, from_ + "/caf\xc3\xa9.bak"));
    EXPECT_TRUE(fresh.messages.empty());
}

}  // namespace
}  // namespace numbrel
