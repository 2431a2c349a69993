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
        std::size_t length = 0;
        for (const char* placeholder : {"%@", "%s", "%d", "%lu", "%ld"})
            if (pattern.compare(i, std::char_traits<char>::length(placeholder), placeholder) == 0)
                length = std::char_traits<char>::length(placeholder);
        if (length && arg != args.end()) {
            out += *arg++;
            i += length - 1;
        } else {
            out += pattern[i];
        }
    }
    return out;
}

}  // namespace numbrel
