// Backup files: their names, the integrity check of a restore, the listing of the backups screen and
// the retention of automatic backups. Writing a backup is the delegate's localBackup().
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plist/value.h"

namespace numbrel {

class Calendar;

// "nbYYYYMMDD@HHMMSS.bak" from the local date and time of an instant.
std::string backupFileName(const Calendar& calendar, Date now);

// Whether a name is exactly a backup file's name.
bool isBackupName(std::string_view name);

// The 32-bit hash of a document's textual description, taken over the description handed over in
// pieces (documentDigests gives it for a whole document). A backup stores it plus one under "hash".
class DescriptionHash {
public:
    void add(std::string_view piece);
    std::uint32_t value() const;

private:
    void mix(std::uint64_t word) {
        h_ ^= word;
        h_ *= 1099511628211ull;
    }
    std::uint64_t h_ = 14695981039346656037ull;
    char pending_[8] = {};
    std::size_t held_ = 0;
};

// A backup larger than this is not read (a household's ten years make about 6 MB; a million readings
// about 180 MB).
inline constexpr std::uint64_t kMaxBackupFileBytes = 1024ull * 1024 * 1024;

enum class RestoreOutcome { Restored, TooNew, OldBackup, Corrupt, Unreadable };

struct RestoreCheck {
    RestoreOutcome outcome = RestoreOutcome::Corrupt;
    Value document;            // the backup's document without "hash" (Restored and OldBackup)
    std::string fingerprint;   // the document's change fingerprint as read
    std::string reason;        // why it is corrupt, for the command line
    bool archiveRead = false;  // the file read as an archive (a file still being written does not)
};

// The checks of a restore, in order: the archive reads and holds "hash"; a newer "version" than the
// current document's is too new; a description hash one below the stored value is genuine; zero or
// two apart is corrupt; further apart is an old backup (made where the hash differs) when the
// document has the keys every document has, else corrupt. The arithmetic is 32-bit.
RestoreCheck checkBackup(std::string_view bytes, std::int64_t currentVersion);

// The same for a file, read whole: one that cannot be read, or is larger than kMaxBackupFileBytes, is
// Unreadable with the reason to tell.
RestoreCheck checkBackupFile(const std::string& path, std::int64_t currentVersion);

// Reads a file of at most limit bytes; otherwise the message for a file too large, or one that cannot
// be read.
std::optional<std::string> readLimited(const std::string& path, std::uint64_t limit,
                                       const std::string& tooLarge, std::string& bytes);

// The backups screen's list: local names plus remote names not among them, newest first (reverse
// case-insensitive order).
std::vector<std::string> listBackups(std::vector<std::string> local, const std::vector<std::string>& remote);

// Automatic backups keep the three newest in the cloud folder: with three or more cloud backups
// (names matching the backup pattern, newest first), every cloud one after the third goes, and then
// every local backup that is not one of those three.
struct Retention {
    std::vector<std::string> deleteFromCloud;
    std::vector<std::string> deleteLocally;
};
Retention retention(const std::vector<std::string>& cloud, const std::vector<std::string>& local);
inline constexpr int kBackupsKept = 3;

// The names of the files in a folder (none when it cannot be read).
std::vector<std::string> filesIn(const std::string& directory);

}  // namespace numbrel
