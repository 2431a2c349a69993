// The settings of the platform that are not in the document (service addresses, the cloud folder,
// transfer options): numbrel.conf, an INI file in the XDG config folder, over defaults compiled in.
#pragma once

#include <map>
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
    void set(const std::string& name, std::string value) { values_[name] = std::move(value); }
    const std::vector<std::string>& problems() const { return problems_; }

private:
    std::map<std::string, std::string> values_;
    std::vector<std::string> problems_;
};

// $XDG_CONFIG_HOME/numbrel/numbrel.conf
std::string defaultConfigurationPath();

}  // namespace numbrel
