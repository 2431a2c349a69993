// Dropbox as the backups screen sees it: a linked account whose folder ("/Numbrel/" when the account
// holds one, else the top of the linked area) holds backup and CSV files. The session is the platform's
// (the net library's client); its calls block, so screens run them as the work of jobs, one at a time.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "ui/screen.h"

namespace numbrel {

struct DropboxEntry {
    std::string path;  // as Dropbox displays it, "/Numbrel/nb20261123@090000.bak"
    bool folder = false;
    std::uint64_t size = 0;
    std::string modified;  // the server's time, ISO 8601 ("" for folders)
};

// Why a call failed, in a sentence; unlinked when the account's link has ended (the refresh token was
// refused): the session then shows as unlinked.
struct DropboxFailure {
    std::string reason;
    bool unlinked = false;
    bool cancelled = false;  // the job's Cancel stopped it
};

class DropboxSession {
public:
    virtual ~DropboxSession() = default;

    // Whether an account is linked, and in which mode (true: the whole Dropbox; false: the
    // application folder). Cheap; asked on the GUI thread.
    virtual bool linked() const = 0;
    virtual bool root() const = 0;

    // Linking in two steps: the page where the user allows access (opened in the browser), then the
    // code that page shows, exchanged for the tokens.
    virtual std::string startLink(bool root) = 0;
    virtual std::optional<DropboxFailure> finishLink(const std::string& code) = 0;
    // Revokes the tokens (as far as the server can be reached) and forgets them.
    virtual void unlink() = 0;
    // Whether the link lasts only while the program runs (no keyring answered), and keeping it in a
    // file only the user can read from now on (an error message, or nothing).
    virtual bool keptForThisRunOnly() const { return false; }
    virtual std::optional<std::string> keepInFile() { return std::nullopt; }

    // Every entry of a folder ("" is the top of the linked area).
    virtual std::variant<std::vector<DropboxEntry>, DropboxFailure> listFolder(const std::string& path,
                                                                               const Progress& progress) = 0;
    // A local file to a Dropbox path, replacing what is there; checked against the server's hash.
    virtual std::optional<DropboxFailure> upload(const std::string& localPath, const std::string& path,
                                                 const Progress& progress) = 0;
    // A Dropbox file into a folder under a name: written under a hidden name, checked against the
    // server's hash, then renamed.
    virtual std::optional<DropboxFailure> download(const std::string& path, const std::string& directory,
                                                   const std::string& name, const Progress& progress) = 0;
    virtual std::optional<DropboxFailure> remove(const std::string& path) = 0;
};

// The folder the app uses: "/Numbrel/" when the top of the linked area holds a folder whose path is
// exactly "/Numbrel" (the app never makes it), else "/".
std::string dropboxFolderIn(const std::vector<DropboxEntry>& top);
// The names the backups screen lists from a folder's entries: files only, the folder prefix taken
// off; a ".bak" file (any case) whose name is at least 6 characters and starts with "nb", or a
// ".csv" file (any case).
std::vector<std::string> dropboxBackups(const std::vector<DropboxEntry>& entries, const std::string& prefix);

// The folder in use and its entries. From prefix "/" the top is read, and "/Numbrel" in it is read
// instead when it is there; any other prefix is read as it is.
struct DropboxFolder {
    std::string prefix;
    std::vector<DropboxEntry> entries;
};
std::variant<DropboxFolder, DropboxFailure> readDropboxFolder(DropboxSession& session,
                                                              const std::string& prefix,
                                                              const Progress& progress);

}  // namespace numbrel
