#include "plist/md5.h"

#include <openssl/evp.h>

namespace numbrel {

std::string MD5StringOfString(std::string_view text) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_Digest(text.data(), text.size(), digest, &length, EVP_md5(), nullptr);
    static constexpr char kHex[] = "0123456789abcdef";
    std::string out;
    out.reserve(2 * length);
    for (unsigned int i = 0; i < length; ++i) {
        out += kHex[digest[i] >> 4];
        out += kHex[digest[i] & 0xF];
    }
    return out;
}

}  // namespace numbrel
