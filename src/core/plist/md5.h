// Lowercase hexadecimal MD5 digests (OpenSSL libcrypto), as the change fingerprint uses them.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace numbrel {

// The 32-character lowercase hex MD5 of the bytes of text (UTF-8 for strings).
std::string MD5StringOfString(std::string_view text);

// An MD5 digest fed in pieces.
class Md5 {
public:
    Md5();
    ~Md5();
    Md5(const Md5&) = delete;
    Md5& operator=(const Md5&) = delete;
    void add(std::string_view bytes);
    std::string hex();  // finishes the digest

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace numbrel
