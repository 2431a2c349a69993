// The settings document's fixed vocabulary: the persisted top-level keys, the keys left out of the
// change fingerprint, the default meters and the new-document layout.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "plist/value.h"

namespace numbrel {

// The top-level keys written to the preferences store, in the order they are written.
inline constexpr std::array<std::string_view, 28> kPersistedKeys{
    "at",    "autobackup", "average",  "black",     "email",  "extrapolate", "filename",
    "graph", "icloud",     "keyboard", "landscape", "meter",  "new",         "next",
    "on",    "period",     "range",    "reminders", "review", "root",        "settings",
    "theme", "tips",       "torch",    "tour",      "units",  "version",     "zero"};

// The current layout version that validation migrates every document up to.
inline constexpr std::int64_t kCurrentVersion = 420;

// A document for a store that holds no "settings": no meters and "black" off.
Value newDocument();

// The three meters a first start creates: Electricity, Gas and Water, with tariffs in the legacy
// form that validation converts.
Value defaultMeters();

// A tariff record in the legacy form {"unit" 0, "initial" 0, "period" "day", "remainder" 0}.
Value legacyTariff();

// The meters array of a document (null when the document is broken and has none).
const Array* metersOf(const Value& document);
Array* metersOf(Value& document);

}  // namespace numbrel
