// The nearby transfer's channel over a stream socket: each message as a 4-byte big-endian length and
// its bytes. The other side is not trusted: a message longer than a transfer piece, or one that does
// not come whole within the time given, ends the channel.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "exchange/nearby_transfer.h"

namespace numbrel::net {

class SocketChannel : public ByteChannel {
public:
    // Takes the socket and closes it when done.
    explicit SocketChannel(int fd, std::chrono::milliseconds timeout = std::chrono::seconds(30));
    ~SocketChannel() override;
    SocketChannel(const SocketChannel&) = delete;
    SocketChannel& operator=(const SocketChannel&) = delete;

    bool send(std::string_view message) override;
    // The next message; nothing once the other side has closed, broken the framing or gone quiet.
    std::optional<std::string> receive();
    static constexpr std::size_t kLargestMessage = kNearbyPiece;

private:
    bool readFully(char* into, std::size_t size);

    int fd_;
    std::chrono::milliseconds timeout_;
};

// Reads messages from the channel into a receiver until the file is whole, refused, or the channel
// ends; the receiver's state then says which.
void receiveNearby(SocketChannel& channel, NearbyReceiver& receiver);

}  // namespace numbrel::net
