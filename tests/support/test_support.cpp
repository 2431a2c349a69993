#include "support/test_support.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>

#include "ui/localize.h"

namespace numbrel::test {

Environment pinnedEnvironment(const std::string& locale, const std::string& zone, const std::string& now) {
    return Environment(locale, zone, fixedClock(at(now)));
}

Date at(const std::string& iso8601) {
    std::optional<Date> d = parseIso8601(iso8601);
    if (!d) ADD_FAILURE() << "bad test time " << iso8601;
    return d.value_or(Date{});
}

TempDir::TempDir() {
    std::random_device rd;
    path_ = std::filesystem::temp_directory_path() /
            ("numbrel-test-" + std::to_string(::getpid()) + "-" + std::to_string(rd()));
    std::filesystem::create_directories(path_);
}

TempDir::~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
}

// Bumped to make gettext forget the translations it has looked up; the C library exports it for that.
extern "C" int _nl_msg_cat_cntr;

InLanguage::InLanguage(const std::string& language) {
    if (const char* value = std::getenv("LANGUAGE")) previous_ = value;
    ::setenv("LANGUAGE", language.c_str(), 1);
    bindCatalogue();
    ++_nl_msg_cat_cntr;
}

InLanguage::~InLanguage() {
    if (previous_)
        ::setenv("LANGUAGE", previous_->c_str(), 1);
    else
        ::unsetenv("LANGUAGE");
    ++_nl_msg_cat_cntr;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

void writeFile(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << bytes;
}

std::string dataPath(const std::string& relative) {
    return std::string(NUMBREL_TEST_DATA) + "/" + relative;
}

}  // namespace numbrel::test
