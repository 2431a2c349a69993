// Shared helpers for the tests: pinned environments, temporary folders, files.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "plist/date_text.h"
#include "store/environment.h"

namespace numbrel::test {

// An environment with a pinned locale, zone and clock (default: en_GB, Europe/London, 2026-11-22 12:00Z).
Environment pinnedEnvironment(const std::string& locale = "en_GB", const std::string& zone = "Europe/London",
                              const std::string& now = "2026-11-22T12:00:00Z");

Date at(const std::string& iso8601);  // parses or fails the test

// A fresh folder under the system temp dir, removed when the object goes.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::filesystem::path& path() const { return path_; }
    std::string file(const std::string& name) const { return (path_ / name).string(); }

private:
    std::filesystem::path path_;
};

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& bytes);

// Messages in another language (the build tree's catalogue) while the object lives: LANGUAGE=language.
class InLanguage {
public:
    explicit InLanguage(const std::string& language);
    ~InLanguage();
    InLanguage(const InLanguage&) = delete;
    InLanguage& operator=(const InLanguage&) = delete;

private:
    std::optional<std::string> previous_;
};

// The folder of committed fixtures.
std::string dataPath(const std::string& relative);

}  // namespace numbrel::test
