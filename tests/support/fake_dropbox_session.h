// A Dropbox account in memory: files and folders by path, the calls made in order, and a failure
// that the next call gives instead of doing its work.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "exchange/dropbox.h"
#include "support/test_support.h"

namespace numbrel::test {

class FakeDropboxSession : public DropboxSession {
public:
    bool linked() const override { return isLinked; }
    bool root() const override { return isRoot; }
    std::string startLink(bool root) override {
        calls.push_back(root ? "authorize root" : "authorize apps");
        linkingRoot = root;
        return "https://www.dropbox.example/oauth2/authorize?root=" + std::to_string(root);
    }
    std::optional<DropboxFailure> finishLink(const std::string& code) override {
        calls.push_back("code " + code);
        if (code != goodCode) return DropboxFailure{"the code was not accepted"};
        isLinked = true;
        isRoot = linkingRoot;
        return std::nullopt;
    }
    void unlink() override {
        calls.push_back("unlink");
        isLinked = false;
    }
    bool keptForThisRunOnly() const override { return runOnly; }
    std::optional<std::string> keepInFile() override {
        runOnly = false;
        keptInFile = true;
        return std::nullopt;
    }

    std::variant<std::vector<DropboxEntry>, DropboxFailure> listFolder(const std::string& path,
                                                                       const Progress&) override {
        calls.push_back("list " + path);
        if (std::optional<DropboxFailure> f = failing()) return *f;
        std::vector<DropboxEntry> entries;
        for (const std::string& f : folders)
            if (parentOf(f) == path) entries.push_back({f, true, 0, ""});
        for (const auto& [p, bytes] : files)
            if (parentOf(p) == path) entries.push_back({p, false, bytes.size(), "2026-11-20T10:00:00Z"});
        return entries;
    }
    std::optional<DropboxFailure> upload(const std::string& localPath, const std::string& path,
                                         const Progress&) override {
        calls.push_back("upload " + path);
        if (std::optional<DropboxFailure> f = failing()) return f;
        files[path] = readFile(localPath);
        return std::nullopt;
    }
    std::optional<DropboxFailure> download(const std::string& path, const std::string& directory,
                                           const std::string& name, const Progress&) override {
        calls.push_back("download " + path);
        if (std::optional<DropboxFailure> f = failing()) return f;
        auto it = files.find(path);
        if (it == files.end()) return DropboxFailure{"path/not_found"};
        writeFile(directory + "/" + name, it->second);
        return std::nullopt;
    }
    std::optional<DropboxFailure> remove(const std::string& path) override {
        calls.push_back("delete " + path);
        if (std::optional<DropboxFailure> f = failing()) return f;
        if (!files.erase(path)) return DropboxFailure{"path_lookup/not_found"};
        return std::nullopt;
    }

    std::map<std::string, std::string> files;  // "/Numbrel/nb….bak" → bytes
    std::set<std::string> folders;             // "/Numbrel"
    std::vector<std::string> calls;
    std::optional<DropboxFailure> failNext;
    std::string goodCode = "A1b2C3";
    bool isLinked = true;
    bool isRoot = true;
    bool linkingRoot = true;
    bool runOnly = false;
    bool keptInFile = false;

private:
    std::optional<DropboxFailure> failing() {
        if (!failNext) return std::nullopt;
        if (failNext->unlinked) isLinked = false;
        return std::exchange(failNext, std::nullopt);
    }
    // "" for a name at the top, "/Numbrel" for one inside it.
    static std::string parentOf(const std::string& path) {
        const std::size_t slash = path.rfind('/');
        return slash == 0 || slash == std::string::npos ? "" : path.substr(0, slash);
    }
};

}  // namespace numbrel::test
