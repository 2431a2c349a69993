#include "ui/localize.h"

#include <libintl.h>

namespace numbrel {

std::string tr(const char* key) {
    return dgettext("numbrel", key);
}

}  // namespace numbrel
