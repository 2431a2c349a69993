#include "store/configuration.h"

#include "store/file_ops.h"
#include "store/preferences_store.h"

namespace numbrel {

namespace {

std::string trimmed(const std::string& text) {
    const char* space = " \t\r";
    std::size_t begin = text.find_first_not_of(space);
    if (begin == std::string::npos) return {};
    return text.substr(begin, text.find_last_not_of(space) - begin + 1);
}

constexpr std::size_t kLargestFile = 1 << 20;

}  // namespace

Configuration::Configuration()
    : values_{
          {"links.support", "https://numbrel.org/support"},
          {"links.contact", "https://numbrel.org/contact"},
          {"links.social", "https://social.numbrel.org/@numbrel"},
          {"links.review", "https://numbrel.org/review"},
      } {}

Configuration Configuration::parse(const std::string& text) {
    Configuration c;
    std::string section;
    std::size_t start = 0;
    for (int number = 1; start < text.size(); ++number) {
        std::size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        std::string line = trimmed(text.substr(start, end - start));
        start = end + 1;
        if (line.empty() || line[0] == '#' || line[0] == ';') continue;
        if (line.front() == '[' && line.back() == ']') {
            section = trimmed(line.substr(1, line.size() - 2));
            continue;
        }
        std::size_t equals = line.find('=');
        if (equals == std::string::npos || section.empty() || trimmed(line.substr(0, equals)).empty()) {
            c.problems_.push_back("line " + std::to_string(number) + " is not \"key = value\" in a section");
            continue;
        }
        c.values_[section + "." + trimmed(line.substr(0, equals))] = trimmed(line.substr(equals + 1));
    }
    return c;
}

Configuration Configuration::load(const std::string& path) {
    std::string error;
    std::optional<std::string> text = readWholeFile(path, error, kLargestFile + 1);
    if (!text) {
        Configuration c;
        if (!error.empty()) c.problems_.push_back(path + ": " + error);
        return c;
    }
    if (text->size() > kLargestFile) {
        Configuration c;
        c.problems_.push_back(path + " is larger than 1 MB and is not read");
        return c;
    }
    Configuration c = parse(*text);
    for (std::string& problem : c.problems_)
        problem = path + ": " + problem;
    return c;
}

std::string Configuration::value(const std::string& name) const {
    auto it = values_.find(name);
    return it == values_.end() ? std::string() : it->second;
}

std::string defaultConfigurationPath() {
    return xdgDirectory("XDG_CONFIG_HOME", ".config") + "/numbrel/numbrel.conf";
}

}  // namespace numbrel
