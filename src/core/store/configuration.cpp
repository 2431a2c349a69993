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
    Configuration c;
    if (!text) {
        if (!error.empty()) c.problems_.push_back(path + ": " + error);
    } else if (text->size() > kLargestFile) {
        c.problems_.push_back(path + " is larger than 1 MB and is not read");
    } else {
        c = parse(*text);
        for (std::string& problem : c.problems_)
            problem = path + ": " + problem;
    }
    c.path_ = path;
    return c;
}

std::string Configuration::withValue(const std::string& text, const std::string& name,
                                     const std::string& value) {
    const std::size_t dot = name.find('.');
    const std::string section = name.substr(0, dot);
    const std::string key = dot == std::string::npos ? std::string() : name.substr(dot + 1);
    const std::string line = key + " = " + value + "\n";

    std::string out;
    std::string current;
    bool done = false;
    std::size_t sectionEnd = std::string::npos;  // where a line for the key's section goes
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find('\n', start);
        end = end == std::string::npos ? text.size() : end + 1;
        const std::string raw = text.substr(start, end - start);
        start = end;
        const std::string content = trimmed(raw.back() == '\n' ? raw.substr(0, raw.size() - 1) : raw);
        if (!content.empty() && content.front() == '[' && content.back() == ']') {
            current = trimmed(content.substr(1, content.size() - 2));
        } else if (!done && current == section && !content.empty() && content[0] != '#' &&
                   content[0] != ';') {
            const std::size_t equals = content.find('=');
            if (equals != std::string::npos && trimmed(content.substr(0, equals)) == key) {
                if (!value.empty()) out += line;
                done = true;
                continue;
            }
        }
        out += raw;
        if (!out.empty() && out.back() != '\n') out += '\n';
        if (current == section && !content.empty()) sectionEnd = out.size();
    }
    if (done || value.empty()) return out;
    if (sectionEnd != std::string::npos) return out.insert(sectionEnd, line);
    if (!out.empty()) out += '\n';
    return out + "[" + section + "]\n" + line;
}

std::optional<std::string> Configuration::store(const std::string& name, const std::string& value) {
    for (char c : value)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            return "a setting cannot hold control characters";
    if (value != trimmed(value)) return "a setting cannot start or end with a space";
    if (!path_.empty()) {
        std::string error;
        std::optional<std::string> text = readWholeFile(path_, error, kLargestFile + 1);
        if (!text && !error.empty()) return path_ + ": " + error;
        if (text && text->size() > kLargestFile) return path_ + " is larger than 1 MB";
        if (std::optional<std::string> failed =
                writeFileAtomically(FileOps::real(), path_, withValue(text.value_or(""), name, value)))
            return failed;
    }
    values_[name] = value.empty() ? Configuration().value(name) : value;
    return std::nullopt;
}

std::string Configuration::value(const std::string& name) const {
    auto it = values_.find(name);
    return it == values_.end() ? std::string() : it->second;
}

std::string defaultConfigurationPath() {
    return xdgDirectory("XDG_CONFIG_HOME", ".config") + "/numbrel/numbrel.conf";
}

}  // namespace numbrel
