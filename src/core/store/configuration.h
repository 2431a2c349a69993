// The settings of the platform that are not in the document (service addresses, the cloud folder,
// transfer options): numbrel.conf, an INI file in the XDG config folder, over defaults compiled in.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace numbrel {

class Configuration {
public:
    // The defaults alone.
    Configuration();
    // The file over the defaults. A missing file is the defaults; lines that cannot be read are
    // skipped and told in problems().
    static Configuration load(const std::string& path);
    // "[section]" and "key = value" lines; "#" and ";" start comments.
    static Configuration parse(const std::string& text);

    // "section.key": the value, or "" when neither the file nor the defaults have it.
    std::string value(const std::string& name) const;
    // For this run only.
    void set(const std::string& name, std::string value) { values_[name] = std::move(value); }
    // Sets a value and writes it to the file it was loaded from (if any), keeping the file's other
    // lines and comments; an empty value removes the key. The file is replaced whole and is readable
    // by its owner alone, as it may hold passwords. Returns an error message, or nothing on success;
    // on failure the value is not set.
    std::optional<std::string> store(const std::string& name, const std::string& value);
    const std::vector<std::string>& problems() const { return problems_; }
    const std::string& path() const { return path_; }

    // The text of a configuration file with "section.key" set to value (removed when value is empty):
    // the key's line is replaced where it stands, or added at the end of its section, or a new section
    // is added at the end.
    static std::string withValue(const std::string& text, const std::string& name, const std::string& value);

private:
    std::map<std::string, std::string> values_;
    std::vector<std::string> problems_;
    std::string path_;
};

// $XDG_CONFIG_HOME/numbrel/numbrel.conf
std::string defaultConfigurationPath();

}  // namespace numbrel
