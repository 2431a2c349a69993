#include "exchange/nearby_transfer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <string>

#include "store/file_ops.h"

namespace numbrel {

namespace {

// Writes all of it, or says why not.
bool writeAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t n = ::write(fd, bytes.data(), bytes.size());
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

}  // namespace

std::optional<std::string> sendNearby(ByteChannel& channel, const std::string& path) {
    const std::string name = std::filesystem::path(path).filename().string();
    if (!nearbyNameAllowed(name)) return "the name " + name + " cannot be sent (ASCII names only)";
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return "cannot open " + path + ": " + std::strerror(errno);
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        return path + " is not a file";
    }
    const auto length = static_cast<std::uint64_t>(st.st_size);
    std::optional<std::string> failed;
    if (!channel.send(name) || !channel.send(std::to_string(length))) failed = "Failed to send data";
    // Exactly the length announced, even if the file grows meanwhile.
    std::string piece(kNearbyPiece, '\0');
    for (std::uint64_t sent = 0; !failed && sent < length;) {
        const std::size_t want =
            static_cast<std::size_t>(std::min<std::uint64_t>(kNearbyPiece, length - sent));
        std::size_t got = 0;
        while (got < want) {
            const ssize_t n = ::read(fd, piece.data() + got, want - got);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) break;
            got += static_cast<std::size_t>(n);
        }
        if (got < want) {
            failed = path + " became shorter while it was sent";
        } else if (!channel.send(std::string_view(piece.data(), want))) {
            failed = "Failed to send data";
        }
        sent += want;
    }
    ::close(fd);
    return failed;
}

bool nearbyNameAllowed(std::string_view name) {
    if (name.empty() || name.size() > 255 || name.front() == '.') return false;
    for (char c : name)
        if (c < 0x20 || c > 0x7e || c == '/' || c == '\\') return false;
    return true;
}

NearbyReceiver::NearbyReceiver(std::string directory) : directory_(std::move(directory)) {}

NearbyReceiver::~NearbyReceiver() {
    if (fd_ >= 0) ::close(fd_);
}

NearbyReceiver::State NearbyReceiver::refuse(std::string why) {
    problem_ = std::move(why);
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
    incoming_.reset();  // the temporary goes
    return state_ = State::Refused;
}

NearbyReceiver::State NearbyReceiver::finish() {
    const bool closed = ::close(fd_) == 0;
    fd_ = -1;
    if (!closed) return refuse("the file could not be written");
    if (std::optional<std::string> failed = incoming_->commit()) return refuse(*failed);
    incoming_.reset();
    return state_ = State::Received;
}

NearbyReceiver::State NearbyReceiver::receive(std::string_view message) {
    switch (state_) {
        case State::Name:
            if (!nearbyNameAllowed(message)) return refuse("the file name cannot be used here");
            name_ = std::string(message);
            return state_ = State::Length;
        case State::Length: {
            std::uint64_t length = 0;
            const char* end = message.data() + message.size();
            auto [at, error] = std::from_chars(message.data(), end, length);
            if (message.empty() || error != std::errc() || at != end)
                return refuse("the file's length is not a number");
            if (length > kNearbyMaxLength) return refuse("the file is larger than 1 GB");
            expected_ = length;
            incoming_ = std::make_unique<IncomingFile>(directory_, name_);
            fd_ = ::open(incoming_->temporaryPath().c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
            if (fd_ < 0) return refuse(std::string("the file could not be written: ") + std::strerror(errno));
            state_ = State::Data;
            return expected_ == 0 ? finish() : state_;
        }
        case State::Data:
            if (message.size() > expected_ - received_) return refuse("more bytes came than were announced");
            if (!writeAll(fd_, message))
                return refuse(std::string("the file could not be written: ") + std::strerror(errno));
            received_ += message.size();
            return received_ == expected_ ? finish() : state_;
        case State::Received:
            return refuse("more bytes came than were announced");
        case State::Refused:
            return state_;
    }
    return state_;
}

void NearbyReceiver::disconnected() {
    if (state_ == State::Length || state_ == State::Data) refuse("the sender went before the file was whole");
}

}  // namespace numbrel
