// Every text shown to the user is an English localisation key looked up in the "numbrel" catalogue.
#pragma once

#include <string>

namespace numbrel {

// The translation of key for the current locale, or key itself when there is none.
std::string tr(const char* key);

}  // namespace numbrel
