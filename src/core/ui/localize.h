// Every text shown to the user is an English localisation key looked up in the "numbrel" catalogue.
#pragma once

#include <initializer_list>
#include <string>

namespace numbrel {

// The translation of key for the current locale, or key itself when there is none.
std::string tr(const char* key);

// A pattern with placeholders ("%@", and the printf-style "%s", "%d", "%lu", "%ld") filled in order
// with args given as text ("∆ %@ %@", "Row %lu, invalid date format" ...).
std::string fill(const std::string& pattern, std::initializer_list<std::string> args);

}  // namespace numbrel
