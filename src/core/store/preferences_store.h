// The preferences store: one property-list file holding a dictionary of top-level entries, with a
// volatile defaults domain. Writes go by key; flush replaces the file atomically.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>

#include "plist/value.h"
#include "store/file_ops.h"

namespace numbrel {

class PreferencesStore {
public:
    explicit PreferencesStore(std::string path, FileOps& ops = FileOps::real());

    struct LoadReport {
        bool existed = false;    // a file was there
        std::string problem;     // non-empty: the file could not be read (see movedAside)
        std::string movedAside;  // where the unreadable file now is ("" when it could not be moved)
    };
    // Reads the file (and first removes what saves of processes that no longer run left behind). A
    // file that cannot be read is never overwritten: it is moved aside to
    // "<path>.unreadable-<timestamp>" and the store starts empty; if it cannot be moved, the store
    // refuses to write until the next load.
    LoadReport load(Date now);

    bool holds(std::string_view key) const { return stored_.find(key) != nullptr; }

    // Hands the whole stored dictionary over (the document is made from it) without copying it.
    // The store keeps the entries under keys it is never asked to write, and carries them into
    // every file it writes, so that entries other programs put there survive.
    Value takeDictionary(std::span<const std::string_view> writtenKeys);

    // Values answered for keys the file lacks. The document is shared, not copied.
    void registerDefaults(std::shared_ptr<const Value> defaults) { defaults_ = std::move(defaults); }
    // An entry of the store: a kept entry, else a registered default; null when neither has it.
    const Value* value(std::string_view key) const;

    // Writes, by key, the entries of source under keys (a key source lacks is removed) beside the
    // kept entries, and replaces the file atomically unless the file on disk already holds exactly
    // those bytes.
    // Returns an error message on failure; the previous file is then unchanged.
    std::optional<std::string> write(const Value& source, std::span<const std::string_view> keys);

    const std::string& path() const { return path_; }

    // Reads a property-list file in binary or XML form.
    static std::optional<Value> parse(std::string_view bytes, std::string& error);

private:
    std::string path_;
    FileOps& ops_;
    Value stored_ = Value::emptyDictionary();  // the file's entries until taken; then the kept ones
    std::shared_ptr<const Value> defaults_;
    bool writable_ = true;
};

// The default locations: $XDG_CONFIG_HOME/numbrel/preferences.plist and
// $XDG_DATA_HOME/numbrel/Documents (with the usual fallbacks under $HOME).
std::string defaultStorePath();
// An XDG base directory: the variable when it holds an absolute path, else $HOME/fallback.
std::string xdgDirectory(const char* variable, const char* fallback);
std::string defaultDocumentsPath();

}  // namespace numbrel
