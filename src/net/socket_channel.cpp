#include "socket_channel.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace numbrel::net {

SocketChannel::SocketChannel(int fd, std::chrono::milliseconds timeout) : fd_(fd), timeout_(timeout) {}

SocketChannel::~SocketChannel() {
    if (fd_ >= 0) ::close(fd_);
}

bool SocketChannel::send(std::string_view message) {
    if (message.size() > kLargestMessage) return false;
    const auto n = static_cast<std::uint32_t>(message.size());
    std::string frame{static_cast<char>(n >> 24), static_cast<char>(n >> 16), static_cast<char>(n >> 8),
                      static_cast<char>(n)};
    frame.append(message);
    std::string_view rest = frame;
    while (!rest.empty()) {
        // MSG_NOSIGNAL: a closed peer is an error to report, not a signal that ends the program.
        const ssize_t sent = ::send(fd_, rest.data(), rest.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) continue;
        if (sent <= 0) return false;
        rest.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

bool SocketChannel::readFully(char* into, std::size_t size) {
    while (size > 0) {
        pollfd p{fd_, POLLIN, 0};
        const int ready = ::poll(&p, 1, static_cast<int>(timeout_.count()));
        if (ready < 0 && errno == EINTR) continue;
        if (ready <= 0) return false;  // quiet too long, or broken
        const ssize_t n = ::recv(fd_, into, size, 0);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        into += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

std::optional<std::string> SocketChannel::receive() {
    unsigned char header[4];
    if (!readFully(reinterpret_cast<char*>(header), sizeof header)) return std::nullopt;
    const std::uint32_t n = (std::uint32_t{header[0]} << 24) | (std::uint32_t{header[1]} << 16) |
                            (std::uint32_t{header[2]} << 8) | header[3];
    if (n > kLargestMessage) return std::nullopt;
    std::string message(n, '\0');
    if (!readFully(message.data(), n)) return std::nullopt;
    return message;
}

void receiveNearby(SocketChannel& channel, NearbyReceiver& receiver) {
    using State = NearbyReceiver::State;
    while (receiver.state() != State::Received && receiver.state() != State::Refused) {
        std::optional<std::string> message = channel.receive();
        if (!message) return receiver.disconnected();
        receiver.receive(*message);
    }
}

}  // namespace numbrel::net
