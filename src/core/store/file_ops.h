// The file-system calls that saving depends on, behind an interface so that tests can make any one
// of them fail; and the atomic replacement of a file built on them.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace numbrel {

class FileOps {
public:
    virtual ~FileOps() = default;
    // Each returns 0 on success or an errno value.
    virtual int openForWrite(const std::string& path, int& fd) = 0;  // creates or truncates, mode 0600
    virtual int write(int fd, const char* data, std::size_t size, std::size_t& written) = 0;
    virtual int fsync(int fd) = 0;
    virtual int close(int fd) = 0;
    virtual int rename(const std::string& from, const std::string& to) = 0;
    virtual int unlink(const std::string& path) = 0;
    virtual int fsyncDirectory(const std::string& dir) = 0;
    virtual int makeDirectories(const std::string& dir) = 0;

    static FileOps& real();
};

// Replaces path with bytes so that a crash or a failure at any point leaves either the old file or
// the new one, whole: temporary file in the same folder, write, fsync, rename, fsync of the folder.
// Returns an error message, or nothing on success (the old file is untouched on failure).
std::optional<std::string> writeFileAtomically(FileOps& ops, const std::string& path, std::string_view bytes);

// Reads a whole file, or its first limit bytes. Missing files give nullopt with error empty; other
// failures fill error.
std::optional<std::string> readWholeFile(const std::string& path, std::string& error,
                                         std::size_t limit = static_cast<std::size_t>(-1));

std::string parentDirectory(const std::string& path);

// Copies a file into a folder under its own name, replacing a file of that name only once the copy
// is whole (a temporary name in the folder, then a rename): a failed copy leaves the old file. Returns
// an error message, or nothing on success.
std::optional<std::string> copyIntoFolder(const std::string& from, const std::string& directory);

// Copies a file into a folder as name through a hidden temporary (".NAME.tmp-PID-N", which sync
// clients and other devices pass by, and removeStaleTemporaries knows), fsynced, then renamed: no
// half-written file ever carries the name. accept, when given, looks at the whole temporary first; a
// copy it refuses is removed and answered with refusal. Returns an error message, or nothing.
std::optional<std::string> copyThroughTemporary(
    const std::string& from, const std::string& toDirectory, const std::string& name,
    const std::function<bool(const std::string& temp)>& accept = {},
    const std::string& refusal = "the copy was refused");

// A file arriving in a folder in parts (a transfer): written under a hidden temporary name that
// removeStaleTemporaries knows, and given its name only by commit(), once whole. Dropped without a
// commit, the temporary goes.
class IncomingFile {
public:
    IncomingFile(std::string directory, std::string name);
    ~IncomingFile();
    IncomingFile(const IncomingFile&) = delete;
    IncomingFile& operator=(const IncomingFile&) = delete;
    const std::string& temporaryPath() const { return temp_; }
    // Synced, then renamed to its name (replacing a file there). An error message, or nothing.
    std::optional<std::string> commit();

private:
    std::string directory_, name_, temp_;
    bool committed_ = false;
};

// The same for a file that arrives some other way (a download): fill writes the temporary and answers
// an error message, or nothing when it is whole and may take the name.
std::optional<std::string> receiveThroughTemporary(
    const std::string& toDirectory, const std::string& name,
    const std::function<std::optional<std::string>(const std::string& temp)>& fill);

// Whether the file at path holds exactly these bytes (a missing or unreadable file does not).
bool fileHolds(const std::string& path, std::string_view bytes);

// Removes the temporary files of writeFileAtomically ("NAME.tmp-PID-N") in a folder whose process no
// longer runs: a save killed half-way leaves one behind, as large as the file. Answers how many went.
int removeStaleTemporaries(const std::string& directory);

}  // namespace numbrel
