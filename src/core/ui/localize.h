// Every text shown to the user is an English localisation key looked up in the "numbrel" catalogue.
#pragma once

#include <initializer_list>
#include <string>

namespace numbrel {

// Binds the catalogue to its folder: the installed one beside the running program (<prefix>/share/locale
// when the program is <prefix>/bin/...), else the build tree's. The language is the process's message
// locale (LANGUAGE, LC_ALL, LC_MESSAGES, LANG); where the C library lacks the locale those name, their
// language still chooses the messages.
void bindCatalogue();

// The translation of key for the current locale, or key itself when there is none.
std::string tr(const char* key);

// Marks a text in a table as a key for the catalogue; it is translated where it is shown, with tr().
constexpr const char* N_(const char* key) {
    return key;
}

// A pattern with placeholders ("%@", and the printf-style "%s", "%d", "%lu", "%ld") filled in order
// with args given as text ("∆ %@ %@", "Row %lu, invalid date format" ...).
std::string fill(const std::string& pattern, std::initializer_list<std::string> args);

}  // namespace numbrel
