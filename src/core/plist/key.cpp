#include "plist/key.h"

#include <algorithm>
#include <array>

namespace numbrel {

namespace {

// Every key of the settings document, backups and keyed archives, sorted.
const std::array<std::string, 86>& knownKeys() {
    static const std::array<std::string, 86> keys = [] {
        std::array<std::string, 86> k{
            "",           "$archiver", "$class",    "$classes",   "$classname", "$objects", "$top",
            "$version",   "NS.data",   "NS.keys",   "NS.objects", "NS.string",  "NS.time",  "at",
            "autobackup", "average",   "black",     "code",       "current",    "currency", "date",
            "digits",     "direction", "discount",  "economy7",   "email",      "enabled",  "extrapolate",
            "factor",     "filename",  "fixed",     "graph",      "hash",       "house",    "icloud",
            "initial",    "keyboard",  "landscape", "maximum",    "meter",      "minus",    "monthly",
            "name",       "new",       "next",      "notes",      "on",         "percent",  "period",
            "period2",    "postcode",  "precision", "previous",   "range",      "rate",     "rates",
            "reading",    "readings",  "remainder", "reminders",  "restore",    "review",   "root",
            "settings",   "stepped",   "tariffs",   "tax",        "theme",      "ticked",   "tips",
            "to",         "torch",     "tour",      "type",       "unit",       "units",    "version",
            "zero",       "reading1",  "reading2",  "reading3",   "rows",       "meters",   "value",
            "values",     "generation"};
        std::sort(k.begin(), k.end());
        return k;
    }();
    return keys;
}

// The empty key's text: a constant of its own, so that a key made or moved from needs no table.
const std::string kEmpty;

const std::string* findKnown(std::string_view text) {
    if (text.empty()) return &kEmpty;
    const auto& keys = knownKeys();
    auto it = std::lower_bound(keys.begin(), keys.end(), text, [](const std::string& a, std::string_view b) {
        return std::string_view(a) < b;
    });
    return it != keys.end() && *it == text ? &*it : nullptr;
}

}  // namespace

std::uintptr_t Key::emptyBits() noexcept {
    return reinterpret_cast<std::uintptr_t>(&kEmpty);
}

Key::Key() noexcept : bits_(emptyBits()) {}

Key::Key(std::string_view text) {
    if (const std::string* known = findKnown(text)) {
        bits_ = reinterpret_cast<std::uintptr_t>(known);
    } else {
        bits_ = reinterpret_cast<std::uintptr_t>(new std::string(text)) | kOwned;
    }
}

Key::Key(const Key& other) : bits_(other.bits_) {
    if (!other.isShared()) bits_ = reinterpret_cast<std::uintptr_t>(new std::string(other.str())) | kOwned;
}

Key& Key::operator=(const Key& other) {
    if (this != &other) {
        Key copy(other);
        *this = std::move(copy);
    }
    return *this;
}

Key& Key::operator=(Key&& other) noexcept {
    if (this != &other) {
        release();
        bits_ = other.bits_;
        other.bits_ = emptyBits();
    }
    return *this;
}

void Key::release() noexcept {
    if (!isShared()) delete reinterpret_cast<std::string*>(bits_ & ~kOwned);
    bits_ = emptyBits();
}

}  // namespace numbrel
