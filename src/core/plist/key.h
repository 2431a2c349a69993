// A dictionary key. The keys the system itself uses ("date", "reading", "rates" ...) point into
// one static table, so that a document of a hundred thousand readings holds no copies of them; any
// other key owns its text. Eight bytes either way.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace numbrel {

class Key {
public:
    Key() noexcept;
    explicit Key(std::string_view text);
    Key(const Key& other);
    Key(Key&& other) noexcept : bits_(other.bits_) { other.bits_ = emptyBits(); }
    Key& operator=(const Key& other);
    Key& operator=(Key&& other) noexcept;
    ~Key() { release(); }

    const std::string& str() const { return *reinterpret_cast<const std::string*>(bits_ & ~kOwned); }
    std::string_view view() const { return str(); }
    operator std::string_view() const { return str(); }
    bool isShared() const { return !(bits_ & kOwned); }
    // Equal for two shared keys exactly when their texts are equal: lookups by a shared key compare
    // this number instead of strings.
    std::uintptr_t id() const { return bits_; }

    friend bool operator==(const Key& a, const Key& b) { return a.bits_ == b.bits_ || a.str() == b.str(); }
    friend bool operator==(const Key& a, std::string_view b) { return a.str() == b; }
    friend bool operator<(const Key& a, const Key& b) { return a.str() < b.str(); }

private:
    static constexpr std::uintptr_t kOwned = 1;
    static std::uintptr_t emptyBits() noexcept;
    void release() noexcept;
    std::uintptr_t bits_;  // address of a std::string; the low bit marks one this key owns
};

}  // namespace numbrel
