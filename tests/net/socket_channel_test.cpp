#include "socket_channel.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "support/test_support.h"

namespace numbrel::net {
namespace {

namespace fs = std::filesystem;

struct Pair {
    Pair() { EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0); }
    int fds[2] = {-1, -1};
};

TEST(SocketChannel, AFileCrossesASocketWhole) {
    test::TempDir dir;
    fs::create_directories(dir.file("Documents"));
    std::string bytes(10'000'000, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>(i * 7 + (i >> 13));
    test::writeFile(dir.file("nb20261101@080000.bak"), bytes);

    Pair p;
    SocketChannel sending(p.fds[0]), receiving(p.fds[1]);
    std::optional<std::string> sent;
    std::thread sender([&] { sent = sendNearby(sending, dir.file("nb20261101@080000.bak")); });
    NearbyReceiver receiver(dir.file("Documents"));
    receiveNearby(receiving, receiver);
    sender.join();
    EXPECT_FALSE(sent);
    EXPECT_EQ(receiver.state(), NearbyReceiver::State::Received) << receiver.problem();
    EXPECT_EQ(test::readFile(dir.file("Documents/nb20261101@080000.bak")), bytes);
}

TEST(SocketChannel, ALyingOrHostileSenderIsCutOff) {
    test::TempDir dir;
    const std::string docs = dir.file("Documents");
    fs::create_directories(docs);
    {
        // Announces 51,200 bytes and sends more.
        Pair p;
        SocketChannel sending(p.fds[0]), receiving(p.fds[1]);
        ASSERT_TRUE(sending.send("lie.bak"));
        ASSERT_TRUE(sending.send("51200"));
        ASSERT_TRUE(sending.send(std::string(51200, 'a')));
        ASSERT_TRUE(sending.send("b"));
        NearbyReceiver receiver(docs);
        receiveNearby(receiving, receiver);
        EXPECT_EQ(receiver.state(), NearbyReceiver::State::Received);  // whole before the extra byte
        receiver.receive(*receiving.receive());
        EXPECT_EQ(receiver.problem(), "more bytes came than were announced");
    }
    {
        // A frame longer than any piece ends the channel before anything is allocated for it.
        Pair p;
        SocketChannel receiving(p.fds[1]);
        const unsigned char huge[] = {0x7f, 0xff, 0xff, 0xff, 'x'};
        ASSERT_EQ(::write(p.fds[0], huge, sizeof huge), 5);
        EXPECT_FALSE(receiving.receive());
        ::close(p.fds[0]);
    }
    {
        // Gone half-way: nothing is kept.
        Pair p;
        SocketChannel receiving(p.fds[1], std::chrono::milliseconds(200));
        {
            SocketChannel sending(p.fds[0]);
            ASSERT_TRUE(sending.send("half.bak"));
            ASSERT_TRUE(sending.send("100"));
            ASSERT_TRUE(sending.send("0123456789"));
        }
        NearbyReceiver receiver(docs);
        receiveNearby(receiving, receiver);
        EXPECT_EQ(receiver.state(), NearbyReceiver::State::Refused);
        EXPECT_EQ(receiver.received(), 10u);
    }
    {
        // Quiet: the receiver gives up after its timeout.
        Pair p;
        SocketChannel sending(p.fds[0]), receiving(p.fds[1], std::chrono::milliseconds(100));
        ASSERT_TRUE(sending.send("quiet.bak"));
        NearbyReceiver receiver(docs);
        receiveNearby(receiving, receiver);
        EXPECT_EQ(receiver.state(), NearbyReceiver::State::Refused);
    }
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(docs))
        names.push_back(e.path().filename().string());
    EXPECT_EQ(names, (std::vector<std::string>{"lie.bak"}));
}

}  // namespace
}  // namespace numbrel::net
