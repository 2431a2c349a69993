// A file sent to a nearby device, or received from one, over a reliable channel of messages: first the
// file's name (ASCII), then its length as decimal text, then its bytes in pieces of 51,200. The
// receiver trusts none of it: the name must stay in its folder, the length must be a number no larger
// than 1 GB, and no more bytes may come than were announced. What arrives is written under a hidden
// name and takes its own only once it is whole.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace numbrel {

class IncomingFile;

// One end of a reliable, ordered channel of messages (each delivered whole).
class ByteChannel {
public:
    virtual ~ByteChannel() = default;
    // False when the message could not be sent (the other side has gone).
    virtual bool send(std::string_view message) = 0;
};

constexpr std::size_t kNearbyPiece = 51200;
constexpr std::uint64_t kNearbyMaxLength = std::uint64_t{1} << 30;

// Sends the file at path under its own name. An error message, or nothing once every message went.
std::optional<std::string> sendNearby(ByteChannel& channel, const std::string& path);

// Whether a name received may be written in the folder: ASCII letters, digits and punctuation, no
// slash, not hidden, not "." or "..", at most 255 bytes.
bool nearbyNameAllowed(std::string_view name);

class NearbyReceiver {
public:
    enum class State { Name, Length, Data, Received, Refused };

    explicit NearbyReceiver(std::string directory);
    ~NearbyReceiver();

    // One message from the sender; the state after it. Once Refused, nothing more is taken.
    State receive(std::string_view message);
    // The sender went before the file was whole: what had come is dropped.
    void disconnected();

    State state() const { return state_; }
    const std::string& name() const { return name_; }
    const std::string& problem() const { return problem_; }  // why it was refused
    std::uint64_t expected() const { return expected_; }
    std::uint64_t received() const { return received_; }

private:
    State refuse(std::string why);
    State finish();

    std::string directory_;
    State state_ = State::Name;
    std::string name_;
    std::string problem_;
    std::uint64_t expected_ = 0;
    std::uint64_t received_ = 0;
    std::unique_ptr<IncomingFile> incoming_;
    int fd_ = -1;
};

}  // namespace numbrel
