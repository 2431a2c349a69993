// Validation and migration of a settings document: every document, first-start, stored, restored
// or imported, passes the same repairs before the rest of the system reads it.
#pragma once

#include <vector>

#include "plist/value.h"
#include "ui/alert.h"

namespace numbrel {

class Environment;

// Repairs and migrates doc in place and returns the alerts to show ("Help and Support" at most).
// replaced: the document arrived by restore or import rather than being the one loaded at start-up.
// Validation never rejects a document; it is idempotent on a validated document. changed, when given,
// tells whether doc needed any repair.
std::vector<Alert> validateSettings(Value& doc, const Environment& env, bool replaced,
                                    bool* changed = nullptr);

// The currency code a new or code-less meter gets: the locale's, or "USD" when the symbol table
// lacks it.
std::string defaultCurrencyCode(const Environment& env);

// Brings a tariff record in the legacy form (or without "rates") to 12 rate steps with "monthly"
// and "stepped", padding short "rates" arrays; records that are not dictionaries are replaced.
// Answers whether it changed the tariff.
bool normaliseTariff(Value& tariff);

}  // namespace numbrel
