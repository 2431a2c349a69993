#include "exchange/dropbox.h"

#include <filesystem>

#include "store/text_compare.h"

namespace numbrel {

std::string dropboxFolderIn(const std::vector<DropboxEntry>& top) {
    for (const DropboxEntry& e : top)
        if (e.folder && e.path == "/Numbrel") return "/Numbrel/";
    return "/";
}

std::vector<std::string> dropboxBackups(const std::vector<DropboxEntry>& entries, const std::string& prefix) {
    std::vector<std::string> names;
    for (const DropboxEntry& e : entries) {
        if (e.folder || !e.path.starts_with(prefix)) continue;
        std::string name = e.path.substr(prefix.size());
        if (name.empty() || name.find('/') != std::string::npos) continue;
        const std::string ext = asciiLower(std::filesystem::path(name).extension().string());
        if ((ext == ".bak" && name.size() >= 6 && name.starts_with("nb")) || ext == ".csv")
            names.push_back(std::move(name));
    }
    return names;
}

}  // namespace numbrel
