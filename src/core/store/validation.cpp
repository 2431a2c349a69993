#include "store/validation.h"

#include <algorithm>

#include "costs/currency_table.h"
#include "store/calendar.h"
#include "store/document.h"
#include "store/environment.h"
#include "store/text_compare.h"
#include "ui/localize.h"

namespace numbrel {

namespace {

constexpr int kRateSteps = 12;

// The repairs below answer whether they changed anything, so that a document that needed none keeps
// the fingerprint it came with.
bool setIfMissing(Value& dict, std::string_view key, Value value) {
    if (dict.contains(key)) return false;
    dict.set(key, std::move(value));
    return true;
}

Value zeroStep() {
    return Value::makeDictionary({{"rate", 0.0}, {"units", 0.0}, {"period", "day"}});
}

// Makes sure the value under key is an array, replacing anything else by an empty one.
Array& ensureArray(Value& dict, std::string_view key, bool& changed) {
    Value* v = dict.find(key);
    if (!v || !v->isArray()) {
        v = &dict.set(key, Value::emptyArray());
        changed = true;
    }
    return v->array();
}

bool repairMeter(Value& meter, const Environment& env) {
    bool changed = false;
    // Currency: the locale's when missing; a code the symbol table lacks becomes "USD".
    const Value* code = meter.find("code");
    std::string c = code && code->isString() ? code->string() : defaultCurrencyCode(env);
    if (!symbolFor(c)) c = "USD";
    if (!code || !code->isString() || code->string() != c) {
        meter.set("code", c);
        changed = true;
    }

    changed |= meter.erase("currency");
    changed |= setIfMissing(meter, "digits", 5);
    changed |= meter.erase("maximum");
    changed |= setIfMissing(meter, "precision", 1);

    changed |= setIfMissing(meter, "tax", 0.0);
    changed |= setIfMissing(meter, "percent", 0.0);
    changed |= setIfMissing(meter, "discount", 0.0);
    changed |= setIfMissing(meter, "period2", "day");

    changed |= setIfMissing(meter, "postcode", "");
    changed |= setIfMissing(meter, "house", "");

    if (!meter.contains("type")) {
        changed = true;
        std::string_view units = stringOf(meter, "units");
        const char* type = "Other";
        if (units == "kWh") {
            type = realOf(meter, "factor") > 1.0 ? "Gas" : "Electricity";
        } else if (units == "m³") {
            type = "Water";
        }
        meter.set("type", type);
    }
    changed |= setIfMissing(meter, "economy7", 0);
    // Readers multiply every usage by the factor: a missing one means no conversion.
    changed |= setIfMissing(meter, "factor", 1.0);

    // Readers rely on "readings" being there; one of another type is left as it is (readers treat
    // it as no readings) rather than thrown away. Tariffs are rebuilt to the three records every
    // reader indexes.
    changed |= setIfMissing(meter, "readings", Value::emptyArray());
    Array& tariffs = ensureArray(meter, "tariffs", changed);
    while (tariffs.size() < 3) {
        tariffs.push_back(legacyTariff());
        changed = true;
    }
    for (Value& tariff : tariffs)
        changed |= normaliseTariff(tariff);
    return changed;
}

// Older documents marked the first reading of a replaced meter with "new" and counted the new meter
// from that reading. Now a zero reading one second after the last reading of the old meter starts
// the new one, so that no usage is counted across the change.
void migrateMeterChanges(Value& meter) {
    Array* readings = arrayOf(meter, "readings");
    if (!readings) return;
    for (std::size_t i = 0; i < readings->size(); ++i) {
        Value& reading = (*readings)[i];
        if (!boolOf(reading, "new") || i + 1 >= readings->size()) continue;
        reading.erase("new");
        const Value* olderDate = (*readings)[i + 1].find("date");
        Date start{olderDate && olderDate->isDate() ? olderDate->date().seconds + 1.0 : 0.0};
        Value zero = Value::makeDictionary(
            {{"date", start}, {"reading", Value(Array{Value(0.0), Value(0.0), Value(0.0)})}, {"new", true}});
        readings->insert(readings->begin() + static_cast<std::ptrdiff_t>(i) + 1, std::move(zero));
        ++i;  // continue after the inserted record
    }
}

Value defaultUnits(const Value& doc) {
    std::vector<std::string> units{"ft³", "kWh", "m³"};
    if (const Array* meters = metersOf(doc)) {
        for (const Value& meter : *meters) {
            std::string_view u = stringOf(meter, "units");
            if (!u.empty() && std::find(units.begin(), units.end(), u) == units.end()) units.emplace_back(u);
        }
    }
    std::stable_sort(units.begin(), units.end(), [](const std::string& a, const std::string& b) {
        return caseInsensitiveCompare(a, b) < 0;
    });
    Array out;
    for (auto& u : units)
        out.emplace_back(std::move(u));
    return Value(std::move(out));
}

Date defaultReview(const Value& doc, const Environment& env) {
    const Array* meters = metersOf(doc);
    bool freshInstall = meters && meters->size() == 3 && (*meters)[0].find("readings") &&
                        (*meters)[0].find("readings")->size() == 0;
    return Calendar(env).addDays(env.now(), freshInstall ? 30 : 7);
}

}  // namespace

std::string defaultCurrencyCode(const Environment& env) {
    std::string code = env.localeCurrencyCode();
    return symbolFor(code) ? code : "USD";
}

bool normaliseTariff(Value& tariff) {
    bool changed = false;
    if (!tariff.isDictionary()) {
        tariff = legacyTariff();
        changed = true;
    }
    Value* rates = tariff.find("rates");
    if (!rates) {
        changed = true;
        Array steps;
        steps.reserve(kRateSteps);
        steps.push_back(
            Value::makeDictionary({{"rate", realOf(tariff, "unit")},
                                   {"units", realOf(tariff, "initial")},
                                   {"period", Value(std::string(stringOf(tariff, "period", "day")))}}));
        steps.push_back(Value::makeDictionary(
            {{"rate", realOf(tariff, "remainder")}, {"units", 0.0}, {"period", "day"}}));
        while (steps.size() < kRateSteps)
            steps.push_back(zeroStep());
        for (const char* key : {"unit", "initial", "period", "remainder"})
            tariff.erase(key);
        rates = &tariff.set("rates", Value(std::move(steps)));
    } else if (!rates->isArray()) {
        *rates = Value::emptyArray();
        changed = true;
    }
    // Every reader walks exactly twelve steps.
    Array& steps = rates->array();
    for (Value& step : steps) {
        if (!step.isDictionary()) {
            step = zeroStep();
            changed = true;
        }
    }
    while (steps.size() < kRateSteps) {
        steps.push_back(zeroStep());
        changed = true;
    }
    const bool stepped = realOf(steps[0], "units") > 0.0;

    // Adding to the tariff moves its entries: steps is not used past here.
    changed |= setIfMissing(tariff, "monthly", false);
    changed |= setIfMissing(tariff, "stepped", stepped);
    return changed;
}

std::vector<Alert> validateSettings(Value& doc, const Environment& env, bool replaced, bool* changedAny) {
    std::vector<Alert> alerts;
    bool changed = false;
    if (!doc.isDictionary()) {
        doc = newDocument();
        changed = true;
    }

    // Disabled meters are dropped. A meter without "enabled" counts as one register rather than
    // as disabled, so that a foreign document does not lose its meters.
    Array& meters = ensureArray(doc, "settings", changed);
    changed |= erase_if(meters, [](const Value& m) { return !m.isDictionary(); }) > 0;
    for (Value& meter : meters)
        changed |= setIfMissing(meter, "enabled", 1);
    changed |= erase_if(meters, [](const Value& m) { return integerOf(m, "enabled") == 0; }) > 0;

    bool oldMeterChanges = !doc.contains("new");
    for (Value& meter : meters) {
        changed |= repairMeter(meter, env);
        if (oldMeterChanges) migrateMeterChanges(meter);  // "new" is added below: a change either way
    }

    changed |= setIfMissing(doc, "black", false);
    changed |= setIfMissing(doc, "extrapolate", false);
    changed |= setIfMissing(doc, "graph", false);
    changed |= setIfMissing(doc, "keyboard", false);
    changed |= setIfMissing(doc, "landscape", false);
    changed |= setIfMissing(doc, "meter", 0);
    changed |= setIfMissing(doc, "new", true);
    changed |= setIfMissing(doc, "period", 0);
    changed |= setIfMissing(doc, "range", integerOf(doc, "period") < 4 ? 2 : 0);
    changed |= doc.erase("restore");
    changed |= setIfMissing(doc, "email", "");
    changed |= setIfMissing(doc, "zero", false);
    // The units list and the review date are worked out only when they are missing.
    changed |= !doc.contains("units") && setIfMissing(doc, "units", defaultUnits(doc));
    changed |= setIfMissing(doc, "torch", false);
    changed |= doc.erase("current");
    changed |= setIfMissing(doc, "average", false);
    changed |= setIfMissing(doc, "at", 800);
    changed |= setIfMissing(doc, "on", 0);
    changed |= setIfMissing(doc, "reminders", "Off");
    changed |= setIfMissing(doc, "tour", true);
    changed |= setIfMissing(doc, "theme", 4);
    changed |= !doc.contains("review") && setIfMissing(doc, "review", defaultReview(doc, env));
    changed |= setIfMissing(doc, "tips", true);
    changed |= setIfMissing(doc, "icloud", false);
    changed |= setIfMissing(doc, "version", 311);

    if (integerOf(doc, "version") < 320) {
        changed = true;
        doc.set("autobackup", false);
        doc.set("filename", "");
        doc.set("version", 320);
    }
    if (integerOf(doc, "version") < 332) {
        changed = true;
        if (!boolOf(doc, "tour") && !replaced) {
            alerts.push_back(Alert{
                0,
                tr("Help and Support"),
                tr("As a reminder, PLEASE don't leave support requests on iTunes, as these are anonymous and "
                   "I "
                   "have no way of contacting you to help. Instead use the support links and you will get a "
                   "VERY quick response."),
                {tr("OK")}});
        }
        doc.set("version", 332);
    }
    if (integerOf(doc, "version") < 400) {
        changed = true;
        doc.set("next", true);
        doc.set("version", 400);
    }
    if (integerOf(doc, "version") < 420) {
        changed = true;
        doc.set("root", true);
        doc.set("version", kCurrentVersion);
    }
    if (changedAny) *changedAny = changed;
    return alerts;
}

}  // namespace numbrel
