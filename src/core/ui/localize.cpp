#include "ui/localize.h"

#include <libintl.h>

#include <clocale>
#include <cstdlib>
#include <filesystem>

namespace numbrel {

// A program built apart from the project (a fuzz harness) looks where the system keeps catalogues.
#ifndef NUMBREL_BUILD_LOCALEDIR
#define NUMBREL_BUILD_LOCALEDIR "/usr/share/locale"
#endif

namespace {

constexpr const char* kDomain = "numbrel";

// The folder of the catalogue for a program at this path.
std::string catalogueFolder(const std::string& executablePath) {
    namespace fs = std::filesystem;
    std::error_code ec;
    const fs::path program = fs::weakly_canonical(executablePath, ec);
    // Installed: <prefix>/bin/numbrel and <prefix>/share/locale; a package may be unpacked anywhere.
    if (!ec && program.parent_path().filename() == "bin") {
        const fs::path installed = program.parent_path().parent_path() / "share" / "locale";
        if (fs::is_directory(installed, ec)) return installed.string();
    }
    return NUMBREL_BUILD_LOCALEDIR;
}

// Where the C library lacks the locale the environment names (not generated), the messages still
// follow its language: LANGUAGE, unless set, becomes the language of LC_ALL, LC_MESSAGES or LANG.
void chooseMessageLocale() {
    if (std::setlocale(LC_MESSAGES, "")) return;
    std::setlocale(LC_MESSAGES, "C.UTF-8");
    const char* language = std::getenv("LANGUAGE");
    if (language && *language) return;
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"})
        if (const char* value = std::getenv(name); value && *value) {
            const std::string locale(value);
            ::setenv("LANGUAGE", locale.substr(0, locale.find_first_of(".@")).c_str(), 1);
            return;
        }
}

}  // namespace

void bindCatalogue() {
    chooseMessageLocale();
    std::error_code ec;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", ec);
    bindtextdomain(kDomain, catalogueFolder(ec ? std::string() : self.string()).c_str());
    bind_textdomain_codeset(kDomain, "UTF-8");
}

std::string tr(const char* key) {
    return dgettext(kDomain, key);
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
