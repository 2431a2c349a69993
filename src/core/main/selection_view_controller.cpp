#include "main/selection_view_controller.h"

#include <algorithm>

#include "costs/currency_table.h"
#include "readings/meter_editing.h"
#include "readings/property_editors.h"
#include "store/app_delegate.h"
#include "store/document.h"
#include "store/text_compare.h"
#include "ui/localize.h"

namespace numbrel {

namespace {

const char* const kTypes[6] = {N_("Electricity"), N_("Gas"),  N_("Water"),
                               N_("Solar"),       N_("Wind"), N_("Other")};

// What the choosers' rows stand for; the index is the choice (a type's number, a count, a digit).
enum Action {
    kNone,
    kType,
    kRegisters,
    kCombination,
    kDigits,
    kDecimals,
    kDirection,
    kCode,
    kUnit,
    kNewUnit,
    kTheme,
    kBar
};

}  // namespace

const std::vector<RegisterCombination>& registerCombinations(int registers) {
    static const std::vector<RegisterCombination> two{
        {N_("R1 + R2"), 0, 0}, {N_("Day + Night"), 2, 0}, {N_("R1 - R2"), 0, 2}, {N_("Night + Day"), 1, 0}};
    static const std::vector<RegisterCombination> three{
        {N_("R1 + R2 + R3"), 0, 0}, {N_("R1 + R2 - R3"), 0, 3}, {N_("R1 - R2 + R3"), 0, 2}};
    static const std::vector<RegisterCombination> none;
    return registers == 2 ? two : registers == 3 ? three : none;
}

SelectionViewController::SelectionViewController(NumbrelAppDelegate& app, Navigator& navigator,
                                                 int meterIndex)
    : app_(app), navigator_(navigator), meter_(meterIndex) {}

Value& SelectionViewController::meter() const {
    return app_.meter(meter_);
}

std::string SelectionViewController::title() const {
    return tr("Meter Type");
}

std::vector<Section> SelectionViewController::sections() const {
    const Value& m = meter();
    std::vector<Section> out;
    Section types;
    for (int t = 0; t < 6; ++t)
        types.rows.push_back(choice(tr(kTypes[t]), stringOf(m, "type") == kTypes[t], kType, t));
    out.push_back(types);
    const int registers = static_cast<int>(std::clamp<std::int64_t>(integerOf(m, "enabled", 1), 1, 3));
    Section counters{tr("Readings/Counters"), "", {}};
    for (int r = 1; r <= 3; ++r)
        counters.rows.push_back(choice(std::to_string(r), registers == r, kRegisters, r));
    out.push_back(counters);
    if (registers >= 2) {
        Section total{tr("Total Usage"), "", {}};
        std::int64_t economy7 = integerOf(m, "economy7"), minus = integerOf(m, "minus");
        const auto& combinations = registerCombinations(registers);
        for (std::size_t i = 0; i < combinations.size(); ++i) {
            const RegisterCombination& c = combinations[i];
            total.rows.push_back(choice(tr(c.label), economy7 == c.economy7 && minus == c.minus, kCombination,
                                        static_cast<int>(i)));
        }
        out.push_back(total);
    }
    return out;
}

void SelectionViewController::select(const Row& row) {
    Value& m = meter();
    if (row.action == kType) {
        m.set("type", kTypes[row.index]);
    } else if (row.action == kRegisters) {
        // A new register count starts from the plain sum.
        m.set("enabled", row.index);
        m.set("economy7", 0);
        m.erase("minus");
    } else if (row.action == kCombination) {
        const auto& combinations = registerCombinations(static_cast<int>(integerOf(m, "enabled", 1)));
        if (row.index >= static_cast<int>(combinations.size())) return;
        const RegisterCombination& c = combinations[static_cast<std::size_t>(row.index)];
        m.set("economy7", c.economy7);
        if (c.minus) {
            m.set("minus", c.minus);
        } else {
            m.erase("minus");
        }
    }
    // A list of several sections stays open after a choice.
}

FormatViewController::FormatViewController(NumbrelAppDelegate& app, int meterIndex)
    : app_(app), meter_(meterIndex), leastDigits_(smallestDigits(meter())) {}

Value& FormatViewController::meter() const {
    return app_.meter(meter_);
}

std::string FormatViewController::title() const {
    return tr("Format/Direction");
}

std::vector<Section> FormatViewController::sections() const {
    const Value& m = meter();
    const bool tips = boolOf(app_.settings(), "tips", true);
    Section before{tr("Before"), "", {}};
    for (int n = 0; n < 6; ++n) {
        int digits = 8 - n;
        before.rows.push_back(choice(std::to_string(digits), integerOf(m, "digits", 5) == digits, kDigits,
                                     digits, digits >= leastDigits_));
    }
    Section after{
        tr("After"),
        tips ? tr("Select the number of digits before and after the decimal point on your meter") : "",
        {}};
    for (int d = 0; d <= 4; ++d)
        after.rows.push_back(choice(std::to_string(d), integerOf(m, "precision", 1) == d, kDecimals, d));
    std::int64_t direction = integerOf(m, "direction");
    std::string footer = direction == 1   ? tr("Usage is \"Yesterday - Today\"")
                         : direction == 2 ? tr("Usage is your actual reading")
                                          : tr("Usage is \"Today - Yesterday\"");
    Section dir{tr("Meter Direction"),
                tips ? footer : "",
                {choice(tr("Up (Default)"), direction != 1 && direction != 2, kDirection, 0),
                 choice(tr("Down"), direction == 1, kDirection, 1),
                 choice(tr("Other"), direction == 2, kDirection, 2)}};
    return {before, after, dir};
}

void FormatViewController::select(const Row& row) {
    Value& m = meter();
    if (!row.enabled) return;
    if (row.action == kDigits) m.set("digits", row.index);
    if (row.action == kDecimals) m.set("precision", row.index);
    if (row.action == kDirection) {
        if (row.index == 0) m.erase("direction");
        if (row.index != 0) m.set("direction", row.index);
    }
}

CurrencyViewController::CurrencyViewController(NumbrelAppDelegate& app, Navigator& navigator, int meterIndex)
    : app_(app), navigator_(navigator), meter_(meterIndex) {}

Value& CurrencyViewController::meter() const {
    return app_.meter(meter_);
}

std::string CurrencyViewController::title() const {
    return tr("Currency");
}

std::vector<Section> CurrencyViewController::sections() const {
    std::vector<CurrencySymbol> codes(symbols().begin(), symbols().end());
    std::stable_sort(codes.begin(), codes.end(), [](const CurrencySymbol& a, const CurrencySymbol& b) {
        return caseInsensitiveCompare(a.code, b.code) < 0;
    });
    std::vector<Section> out;
    std::string_view current = stringOf(meter(), "code");
    for (const CurrencySymbol& c : codes) {
        std::string letter(c.code.substr(0, 1));
        if (out.empty() || out.back().header != letter) out.push_back(Section{letter, "", {}});
        Row r = choice(std::string(c.code), c.code == current, kCode, 0);
        r.detail = std::string(c.symbol);
        out.back().rows.push_back(r);
    }
    return out;
}

void CurrencyViewController::select(const Row& row) {
    if (row.action != kCode) return;
    meter().set("code", row.label);
    navigator_.pop();
}

UnitsViewController::UnitsViewController(NumbrelAppDelegate& app, Navigator& navigator, int meterIndex)
    : app_(app), navigator_(navigator), meter_(meterIndex) {}

Value& UnitsViewController::meter() const {
    return app_.meter(meter_);
}

std::string UnitsViewController::title() const {
    return tr("Units");
}

bool UnitsViewController::inUse(std::string_view unit) const {
    if (const Array* meters = metersOf(app_.settings()))
        for (const Value& m : *meters)
            if (stringOf(m, "units") == unit) return true;
    return false;
}

std::vector<Section> UnitsViewController::sections() const {
    std::string footer;
    if (boolOf(app_.settings(), "tips", true))
        footer = editing_ ? tr("Remove unused units, or add new ones")
                          : tr("Select the units you are billed in, or add new ones");
    Section s{"", footer, {}};
    std::string_view current = stringOf(meter(), "units");
    if (const Array* units = arrayOf(app_.settings(), "units"))
        for (const Value& u : *units)
            if (u.isString()) {
                s.rows.push_back(choice(u.string(), u.string() == current, kUnit, 0));
                s.rows.back().deletable = editing_ && !inUse(u.string());
            }
    Row add{tr("Select to add new units"), ""};
    add.action = kNewUnit;
    add.color = RowColor{0.0039, 0.4824, 1.0};
    s.rows.push_back(add);
    return {s};
}

void UnitsViewController::select(const Row& row) {
    if (row.action != kUnit) return;  // the add row edits instead
    meter().set("units", row.label);
    navigator_.pop();
}

void UnitsViewController::remove(const Row& row) {
    if (row.action != kUnit || !row.deletable) return;
    Array* units = arrayOf(app_.settings(), "units");
    if (!units) return;
    auto at = std::find_if(units->begin(), units->end(),
                           [&](const Value& u) { return u.isString() && u.string() == row.label; });
    if (at != units->end()) units->erase(at);
}

std::optional<ValueEdit> UnitsViewController::edit(const Row& row) {
    if (row.action != kNewUnit) return std::nullopt;
    return app_.guarded(unitEditor(app_.settings()));
}

ThemeViewController::ThemeViewController(NumbrelAppDelegate& app) : app_(app) {}

std::string ThemeViewController::title() const {
    return tr("Themes");
}

std::vector<Section> ThemeViewController::sections() const {
    static const char* const kThemes[] = {N_("Black"), N_("Red"), N_("Green"), N_("Blue"),
                                          N_("Red, Green and Blue")};
    const std::int64_t theme = integerOf(app_.settings(), "theme", 4);
    Section themes;
    for (int i = 0; i < 5; ++i)
        themes.rows.push_back(choice(tr(kThemes[i]), theme == i, kTheme, i));
    const bool black = boolOf(app_.settings(), "black");
    Section bar{tr("Navigation Bar"),
                "",
                {choice(tr("Default"), !black, kBar, 0), choice(tr("Black"), black, kBar, 1)}};
    return {themes, bar};
}

void ThemeViewController::select(const Row& row) {
    // "theme" holds a number, so the row's number is stored rather than its text.
    if (row.action == kTheme) app_.settings().set("theme", row.index);
    if (row.action == kBar) {
        app_.settings().set("black", row.index == 1);
        app_.applyBarStyle();
    }
    // Two sections: the list stays open after a choice.
}

}  // namespace numbrel
