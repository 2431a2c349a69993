#include "plist/md5.h"

#include <openssl/evp.h>

namespace numbrel {

struct Md5::State {
    EVP_MD_CTX* ctx = EVP_MD_CTX_new();
    ~State() { EVP_MD_CTX_free(ctx); }
};

Md5::Md5() : state_(std::make_unique<State>()) {
    EVP_DigestInit_ex(state_->ctx, EVP_md5(), nullptr);
}

Md5::~Md5() = default;

void Md5::add(std::string_view bytes) {
    EVP_DigestUpdate(state_->ctx, bytes.data(), bytes.size());
}

std::string Md5::hex() {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_DigestFinal_ex(state_->ctx, digest, &length);
    static constexpr char kHex[] = "0123456789abcdef";
    std::string out;
    out.reserve(2 * length);
    for (unsigned int i = 0; i < length; ++i) {
        out += kHex[digest[i] >> 4];
        out += kHex[digest[i] & 0xF];
    }
    return out;
}

std::string MD5StringOfString(std::string_view text) {
    Md5 md5;
    md5.add(text);
    return md5.hex();
}

}  // namespace numbrel
