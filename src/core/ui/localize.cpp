#include "ui/localize.h"

#include <libintl.h>

namespace numbrel {

std::string tr(const char* key) {
    return dgettext("numbrel", key);
}

std::string fill(const std::string& pattern, std::initializer_list<std::string> args) {
    std::string out;
    auto arg = args.begin();
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern.compare(i, 2, "%@") == 0 && arg != args.end()) {
            out += *arg++;
            ++i;
        } else {
            out += pattern[i];
        }
    }
    return out;
}

}  // namespace numbrel
