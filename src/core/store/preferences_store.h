// The preferences store: one property-list file holding a dictionary of top-level entries, with a
// volatile defaults domain. Writes go by key; flush replaces the file atomically.
#pragma once

#include <memory>
#include <optional>
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
    // Reads the file. A file that cannot be read is never overwritten: it is moved aside to
    // "<path>.unreadable-<timestamp>" and the store starts empty; if it cannot be moved, the store
    // refuses to write until the next load.
    LoadReport load(Date now);

    // Every entry of the store: registered defaults overlaid by the stored entries.
    Value dictionaryRepresentation() const;
    const Value& stored() const { return stored_; }
    bool holds(std::string_view key) const { return stored_.find(key) != nullptr; }

    // Values read for keys the file lacks. The document is shared, not copied, as the platform
    // store shares the objects it is given.
    void registerDefaults(std::shared_ptr<const Value> defaults) { defaults_ = std::move(defaults); }

    // Writes value under key; null removes the entry.
    void set(std::string_view key, const Value* value);

    // Writes the file when something changed. Returns an error message on failure, in which case
    // the previous file is unchanged and the entries stay pending for the next flush.
    std::optional<std::string> flush();

    const std::string& path() const { return path_; }

    // Reads a property-list file in binary or XML form.
    static std::optional<Value> parse(std::string_view bytes, std::string& error);

  private:
    std::string path_;
    FileOps& ops_;
    Value stored_ = Value::emptyDictionary();
    std::shared_ptr<const Value> defaults_;
    bool dirty_ = false;
    bool writable_ = true;
};

// The default locations: $XDG_CONFIG_HOME/numbrel/preferences.plist and
// $XDG_DATA_HOME/numbrel/Documents (with the usual fallbacks under $HOME).
std::string defaultStorePath();
std::string defaultDocumentsPath();

}  // namespace numbrel
