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

std::variant<DropboxFolder, DropboxFailure> readDropboxFolder(DropboxSession& session,
                                                              const std::string& prefix,
                                                              const Progress& progress) {
    DropboxFolder folder{prefix, {}};
    auto read = session.listFolder(prefix == "/" ? "" : prefix.substr(0, prefix.size() - 1), progress);
    if (auto* failed = std::get_if<DropboxFailure>(&read)) return std::move(*failed);
    folder.entries = std::get<std::vector<DropboxEntry>>(std::move(read));
    if (prefix != "/" || dropboxFolderIn(folder.entries) == "/") return folder;
    return readDropboxFolder(session, "/Numbrel/", progress);
}

}  // namespace numbrel
