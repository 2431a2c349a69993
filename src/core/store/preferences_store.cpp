#include "store/preferences_store.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "plist/binary_plist.h"
#include "plist/date_text.h"
#include "plist/xml_plist.h"

namespace numbrel {

namespace {

// "20261122-203644" from an instant, for the name of a file moved aside.
std::string timestamp(Date now) {
    std::string iso = formatIso8601(now);  // 2026-11-22T20:36:44.000Z
    std::string out;
    for (char c : iso.substr(0, 19))
        if (c != '-' && c != ':') out += c == 'T' ? '-' : c;
    return out;
}

}  // namespace

PreferencesStore::PreferencesStore(std::string path, FileOps& ops) : path_(std::move(path)), ops_(ops) {}

std::optional<Value> PreferencesStore::parse(std::string_view bytes, std::string& error) {
    if (looksLikeBinaryPlist(bytes)) {
        PlistResult r = readBinaryPlist(bytes);
        if (!r.ok()) {
            error = r.error;
            return std::nullopt;
        }
        return std::move(r.value);
    }
    PlistResult r = readXmlPlist(bytes);
    if (!r.ok()) {
        error = r.error;
        return std::nullopt;
    }
    return std::move(r.value);
}

PreferencesStore::LoadReport PreferencesStore::load(Date now) {
    LoadReport report;
    stored_ = Value::emptyDictionary();
    writable_ = true;
    removeStaleTemporaries(parentDirectory(path_));  // saves cut short by a killed process
    std::string error;
    std::optional<std::string> bytes = readWholeFile(path_, error);
    if (!bytes && error.empty()) return report;  // no store yet
    report.existed = true;
    if (bytes) {
        std::optional<Value> value = parse(*bytes, error);
        if (value && value->isDictionary()) {
            stored_ = std::move(*value);
            return report;
        }
        if (value) error = "the file does not hold a dictionary";
    }
    report.problem = error;
    std::string aside = path_ + ".unreadable-" + timestamp(now);
    if (ops_.rename(path_, aside) == 0) {
        report.movedAside = aside;
    } else {
        writable_ = false;  // never overwrite a file we could not read
    }
    return report;
}

Value PreferencesStore::takeDictionary(std::span<const std::string_view> writtenKeys) {
    Value kept = Value::emptyDictionary();
    for (const auto& e : stored_.dictionary())
        if (std::find(writtenKeys.begin(), writtenKeys.end(), e.key) == writtenKeys.end())
            kept.set(e.key, e.value);
    Value all = std::move(stored_);
    stored_ = std::move(kept);
    return all;
}

const Value* PreferencesStore::value(std::string_view key) const {
    if (const Value* v = stored_.find(key)) return v;
    return defaults_ ? defaults_->find(key) : nullptr;
}

std::optional<std::string> PreferencesStore::write(const Value& source,
                                                   std::span<const std::string_view> keys) {
    std::vector<std::pair<std::string_view, const Value*>> entries;
    entries.reserve(stored_.size() + keys.size());
    for (std::string_view key : keys) {
        stored_.erase(key);  // a written key is the source's from now on
        if (const Value* v = source.find(key)) entries.emplace_back(key, v);
    }
    for (const auto& e : stored_.dictionary())
        entries.emplace_back(e.key, &e.value);
    std::string bytes = writeBinaryPlistDictionary(entries);
    if (!writable_)
        return "the preferences file " + path_ +
               " could not be read or moved aside, so it is not overwritten";
    // A file that already holds these very bytes is left alone; anything else on disk (a file
    // changed from outside, or gone) is replaced.
    if (fileHolds(path_, bytes)) return std::nullopt;
    return writeFileAtomically(ops_, path_, bytes);
}

std::string xdgDirectory(const char* variable, const char* fallback) {
    const char* v = std::getenv(variable);
    if (v && *v == '/') return v;
    const char* home = std::getenv("HOME");
    return std::string(home && *home ? home : ".") + "/" + fallback;
}

std::string defaultStorePath() {
    return xdgDirectory("XDG_CONFIG_HOME", ".config") + "/numbrel/preferences.plist";
}

std::string defaultDocumentsPath() {
    return xdgDirectory("XDG_DATA_HOME", ".local/share") + "/numbrel/Documents";
}

}  // namespace numbrel
