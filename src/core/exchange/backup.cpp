#include "exchange/backup.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "plist/keyed_archive.h"
#include "store/app_delegate.h"
#include "store/calendar.h"
#include "store/file_ops.h"
#include "store/text_compare.h"
#include "ui/localize.h"

namespace numbrel {

std::string backupFileName(const Calendar& calendar, Date now) {
    CalendarDate c = calendar.components(now);
    char name[64];
    std::snprintf(name, sizeof name, "nb%04d%02d%02d@%02d%02d%02d.bak", c.year, c.month, c.day, c.hour,
                  c.minute, c.second);
    return name;
}

bool isBackupName(std::string_view name) {
    if (name.size() != 21 || name.substr(0, 2) != "nb" || name[10] != '@' || name.substr(17) != ".bak")
        return false;
    for (std::size_t i : {2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u, 11u, 12u, 13u, 14u, 15u, 16u})
        if (name[i] < '0' || name[i] > '9') return false;
    return true;
}

void DescriptionHash::add(std::string_view piece) {
    // FNV-1a over the bytes taken eight at a time: every byte counts, so any change to the document
    // shows. Pieces are joined first, so that the answer does not depend on where the text is cut.
    std::size_t i = 0;
    while (held_ > 0 && held_ < 8 && i < piece.size())
        pending_[held_++] = piece[i++];
    if (held_ == 8) {
        std::uint64_t w;
        std::memcpy(&w, pending_, 8);
        mix(w);
        held_ = 0;
    }
    for (; i + 8 <= piece.size(); i += 8) {
        std::uint64_t w;
        std::memcpy(&w, piece.data() + i, 8);
        mix(w);
    }
    while (i < piece.size())
        pending_[held_++] = piece[i++];
}

std::uint32_t DescriptionHash::value() const {
    DescriptionHash last = *this;
    for (std::size_t k = 0; k < held_; ++k)
        last.mix(static_cast<unsigned char>(pending_[k]));
    return static_cast<std::uint32_t>(last.h_ ^ (last.h_ >> 32));
}

RestoreCheck checkBackup(std::string_view bytes, std::int64_t currentVersion) {
    RestoreCheck out;
    PlistResult archive = readKeyedArchive(bytes);
    if (!archive.ok()) {
        out.reason = archive.error;
        return out;
    }
    out.archiveRead = true;
    Value& doc = archive.value;
    const Value* hash = doc.isDictionary() ? doc.find("hash") : nullptr;
    if (!hash || !hash->isNumber()) {
        out.reason = "the file holds no document with a hash";
        return out;
    }
    const auto stored = static_cast<std::uint32_t>(static_cast<std::uint64_t>(hash->toInteger()));
    doc.erase("hash");
    DocumentDigests digests = documentDigests(doc);
    const std::uint32_t computed = digests.hash;
    const std::int64_t difference = static_cast<std::int32_t>(stored - computed);
    const std::int64_t d = difference < 0 ? -difference : difference;

    // A newer version is refused before the hash is considered.
    if (const Value* version = doc.find("version"); version && version->toInteger() > currentVersion) {
        out.outcome = RestoreOutcome::TooNew;
        return out;
    }
    out.fingerprint = std::move(digests.fingerprint);
    if (d == 1) {
        out.outcome = RestoreOutcome::Restored;
        out.document = std::move(doc);
        return out;
    }
    if (d >= 3) {
        bool complete = true;
        for (const char* key : {"settings", "black", "extrapolate", "graph", "keyboard", "landscape"})
            complete = complete && doc.contains(key);
        if (complete) {
            out.outcome = RestoreOutcome::OldBackup;
            out.document = std::move(doc);
            return out;
        }
        out.reason = "the document lacks keys every document has";
        return out;
    }
    out.reason = "the hash does not match the document";
    return out;
}

RestoreCheck checkBackupFile(const std::string& path, std::int64_t currentVersion) {
    std::string bytes;
    if (std::optional<std::string> problem = readLimited(
            path, kMaxBackupFileBytes, tr("This backup is larger than 1 GB and cannot be restored"), bytes)) {
        RestoreCheck check;
        check.outcome = RestoreOutcome::Unreadable;
        check.reason = *problem;
        return check;
    }
    return checkBackup(bytes, currentVersion);
}

std::optional<std::string> readLimited(const std::string& path, std::uint64_t limit,
                                       const std::string& tooLarge, std::string& bytes) {
    std::error_code ec;
    std::uintmax_t size = std::filesystem::file_size(path, ec);
    if (ec) return tr("The file could not be read");
    if (size > limit) return tooLarge;
    std::string error;
    std::optional<std::string> content = readWholeFile(path, error);
    if (!content) return tr("The file could not be read");
    bytes = std::move(*content);
    return std::nullopt;
}

std::vector<std::string> listBackups(std::vector<std::string> local, const std::vector<std::string>& remote) {
    for (const std::string& name : remote)
        if (std::find(local.begin(), local.end(), name) == local.end()) local.push_back(name);
    std::stable_sort(local.begin(), local.end(), [](const std::string& a, const std::string& b) {
        return caseInsensitiveCompare(a, b) > 0;
    });
    return local;
}

Retention retention(const std::vector<std::string>& cloud, const std::vector<std::string>& local) {
    Retention out;
    std::vector<std::string> backups;
    for (const std::string& name : cloud)
        if (isBackupName(name)) backups.push_back(name);
    backups = listBackups(std::move(backups), {});
    if (static_cast<int>(backups.size()) < kBackupsKept) return out;
    out.deleteFromCloud.assign(backups.begin() + kBackupsKept, backups.end());
    backups.resize(kBackupsKept);
    for (const std::string& name : local)
        if (isBackupName(name) && std::find(backups.begin(), backups.end(), name) == backups.end())
            out.deleteLocally.push_back(name);
    return out;
}

std::vector<std::string> filesIn(const std::string& directory) {
    std::vector<std::string> names;
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator(directory, ec)) {
        std::error_code typeError;
        if (entry.is_regular_file(typeError)) names.push_back(entry.path().filename().string());
    }
    return names;
}

}  // namespace numbrel
