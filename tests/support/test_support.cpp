#include "support/test_support.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <random>
#include <sstream>

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
