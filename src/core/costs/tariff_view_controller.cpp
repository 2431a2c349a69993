#include "costs/tariff_view_controller.h"

#include <algorithm>

#include "costs/currency_table.h"
#include "costs/formatter.h"
#include "main/selection_view_controller.h"
#include "readings/meter_editing.h"
#include "readings/property_editors.h"
#include "store/app_delegate.h"
#include "store/calendar.h"
#include "ui/localize.h"

namespace numbrel {

namespace {

const char* const kMonths[12] = {N_("Jan"), N_("Feb"), N_("Mar"), N_("Apr"), N_("May"), N_("Jun"),
                                 N_("Jul"), N_("Aug"), N_("Sep"), N_("Oct"), N_("Nov"), N_("Dec")};
const char* const kMonthNames[12] = {N_("January"),   N_("February"), N_("March"),    N_("April"),
                                     N_("May"),       N_("June"),     N_("July"),     N_("August"),
                                     N_("September"), N_("October"),  N_("November"), N_("December")};

// A period word of the document ("day" ... "year") as shown; any other text as it is.
std::string shownPeriod(std::string_view word) {
    static const char* const kWords[] = {N_("day"), N_("week"), N_("month"), N_("quarter"), N_("year")};
    for (const char* w : kWords)
        if (word == w) return tr(w);
    return std::string(word);
}

// What the editor's rows stand for; a row of a register's rates carries that register and its step or
// month as index (register * 16 + step).
enum Action {
    kNone,
    kName,
    kType,
    kFormat,
    kCurrency,
    kPostcode,
    kHouse,
    kNotes,
    kUnits,
    kFactor,
    kFixed,
    kRate,        // a single rate, or the rate of a step
    kMonthRate,   // a month's rate
    kRateOfTwo,   // monthly and stepped: the first and second rate
    kMonthUnits,  // monthly and stepped: a month's initial units
    kStepUnits,   // stepped: a step's units
    kDiscount,
    kPercent,
    kTax,
    kRateChange,  // index: the rate change
    kAddRateChange,
    kTo,  // a rate change's end date
};

constexpr int kPerRegister = 16;

Row plain(std::string label, std::string detail, int action, int index = 0) {
    Row r{std::move(label), std::move(detail), Accessory::Disclosure};
    r.action = action;
    r.index = index;
    return r;
}

// The switches of a register: tags 30 + 10 * register, + 1 for "Stepped".
constexpr int kFirstSwitchTag = 30;

Row toggle(std::string label, int tag, bool on) {
    Row r{std::move(label), "", Accessory::Switch, tag, on};
    r.selectable = false;
    return r;
}

}  // namespace

TariffViewController::TariffViewController(NumbrelAppDelegate& app, Navigator& navigator, int meterIndex,
                                           int previous)
    : app_(app), navigator_(navigator), meter_(meterIndex), previous_(previous) {}

Value& TariffViewController::rateSet() const {
    Value* previous = previous_ >= 0 ? meter().find("previous") : nullptr;
    Value* change = previous ? previous->at(static_cast<std::size_t>(previous_)) : nullptr;
    return change && change->isDictionary() ? *change : meter();
}

Value& TariffViewController::meter() const {
    return app_.meter(meter_);
}

int TariffViewController::registers() const {
    return static_cast<int>(std::clamp<std::int64_t>(integerOf(meter(), "enabled", 1), 1, 3));
}

std::string TariffViewController::title() const {
    return previous_ >= 0 ? tr("Rates") : std::string(stringOf(meter(), "name"));
}

std::vector<Section> TariffViewController::sections() const {
    const Value& m = meter();
    const Formatter& f = app_.formatter();
    const bool tips = boolOf(app_.settings(), "tips", true);
    const bool gbp = stringOf(m, "code") == "GBP";
    const std::string symbol(symbolFor(stringOf(m, "code")).value_or(""));
    const std::string units(stringOf(m, "units"));
    const int E = registers();
    const Value& S = rateSet();
    const std::int64_t economy7 = integerOf(m, "economy7"), minus = integerOf(m, "minus");
    std::vector<Section> out;
    if (previous_ >= 0) {
        const Value* to = S.find("to");
        out.push_back(Section{
            "",
            "",
            {plain(tr("To"),
                   to && to->isDate() ? f.formatDate(to->date(), Formatter::DateStyle::Short, false) : "",
                   kTo)}});
    } else {
        // The meter.
        std::string type = tr(std::string(stringOf(m, "type")).c_str());
        if (E == 2) {
            type = fill(tr(economy7 == 2   ? N_("%@ (Day+Night)")
                           : economy7 == 1 ? N_("%@ (Night+Day)")
                           : minus == 2    ? N_("%@ (R1-R2)")
                                           : N_("%@ (R1+R2)")),
                        {type});
        } else if (E == 3) {
            type = fill(tr(minus == 3   ? N_("%@ (R1+R2-R3)")
                           : minus == 2 ? N_("%@ (R1-R2+R3)")
                                        : N_("%@ (R1+R2+R3)")),
                        {type});
        }
        std::int64_t direction = integerOf(m, "direction");
        std::string format = std::to_string(integerOf(m, "digits", 5)) + "." +
                             std::to_string(integerOf(m, "precision", 1)) + " " +
                             (direction == 1   ? tr("Down")
                              : direction == 2 ? tr("Other")
                                               : tr("Up"));
        Section meterSection{
            tr("Meter"),
            tips ? (gbp ? tr("Change the meter type for things like Solar and Economy 7")
                        : tr("Change the meter type for things like Solar and Day and Night meters"))
                 : "",
            {plain(tr("Name"), std::string(stringOf(m, "name")), kName), plain(tr("Type"), type, kType),
             plain(tr("Format/Direction"), format, kFormat), plain(tr("Currency"), symbol, kCurrency)}};
        if (gbp) {
            meterSection.rows.push_back(
                plain(tr("Postcode"), std::string(stringOf(m, "postcode")), kPostcode));
            meterSection.rows.push_back(plain(tr("House/Flat"), std::string(stringOf(m, "house")), kHouse));
        }
        meterSection.rows.push_back(plain(tr("Notes"), std::string(stringOf(m, "notes")), kNotes));
        out.push_back(std::move(meterSection));

        out.push_back(
            Section{tr("Units"),
                    tips ? tr("Set a conversion factor if your meter and billed units are different") : "",
                    {plain(tr("Billed"), units, kUnits),
                     plain(tr("Conversion"), f.formatDouble(realOf(m, "factor", 1.0), m, -1), kFactor)}});
    }
    out.push_back(Section{tr("Fixed or Time Based Rates"),
                          tips ? tr("If you have multiple fixed rates, simply add them together") : "",
                          {plain("",
                                 fill("%@/%@", {f.formatCost(realOf(S, "fixed"), m, 0),
                                                shownPeriod(stringOf(S, "period", "day"))}),
                                 kFixed)}});

    const Array* tariffs = arrayOf(S, "tariffs");
    for (int i = 0; i < E; ++i) {
        const int at = i * kPerRegister;
        std::string header;
        if (E == 1) {
            header = tr("Per Unit Rates");
        } else if (E == 2 && economy7 >= 1) {
            header = i + 1 == economy7 ? tr("Per Unit Rates, Night") : tr("Per Unit Rates, Day");
        } else {
            header = tr("Per Unit Rates, Reading") + " " + std::to_string(i + 1);
        }
        Section s{header, tips && i == 0 ? tr("Check your units!") : "", {}};
        const Value* T = tariffs && i < static_cast<int>(tariffs->size())
                             ? &(*tariffs)[static_cast<std::size_t>(i)]
                             : nullptr;
        const Value* rates = T ? T->find("rates") : nullptr;
        auto step = [&](int k) { return rates ? rates->at(static_cast<std::size_t>(k)) : nullptr; };
        auto rate = [&](int k) { return f.formatCost(step(k) ? realOf(*step(k), "rate") : 0.0, m, 0); };
        bool stepped = T && boolOf(*T, "stepped"), monthly = T && boolOf(*T, "monthly");
        if (monthly && stepped) {
            s.rows.push_back(plain(tr("Rate 1"), rate(0), kRateOfTwo, at));
            s.rows.push_back(plain(tr("Rate 2"), rate(1), kRateOfTwo, at + 1));
            for (int k = 0; k < 12; ++k)
                s.rows.push_back(plain(tr(kMonths[k]),
                                       f.formatDouble(step(k) ? realOf(*step(k), "units") : 0.0, m, -1),
                                       kMonthUnits, at + k));
        } else if (monthly) {
            for (int k = 0; k < 12; ++k)
                s.rows.push_back(plain(tr(kMonths[k]), rate(k), kMonthRate, at + k));
        } else if (stepped) {
            int n = 12;
            for (int k = 0; k < 12; ++k)
                if (!(step(k) && realOf(*step(k), "units") > 0)) {
                    n = k;
                    break;
                }
            for (int k = 0; k <= std::min(n, 11); ++k) {
                double u = step(k) ? realOf(*step(k), "units") : 0.0;
                std::string detail =
                    u > 0 ? f.formatDouble(u, m, -1) + "/" + shownPeriod(stringOf(*step(k), "period", "day"))
                          : (k == 0 ? tr("all") : tr("all remaining"));
                s.rows.push_back(
                    plain(k == 0 ? tr("Initial units") : tr("Next units"), detail, kStepUnits, at + k));
                s.rows.push_back(plain(tr("Rate"), rate(k), kRate, at + k));
            }
        } else {
            s.rows.push_back(plain(tr("Rate"), rate(0), kRate, at));
        }
        s.rows.push_back(toggle(tr("Stepped"), kFirstSwitchTag + 10 * i + 1, stepped));
        s.rows.push_back(toggle(tr("Monthly"), kFirstSwitchTag + 10 * i, monthly));
        out.push_back(std::move(s));
    }

    out.push_back(Section{
        tr("Discounts and Tax"),
        tips ? tr("Include half of any dual fuel discount") : "",
        {plain(tr("Discount"),
               fill("%@/%@",
                    {f.formatCost(realOf(S, "discount"), m, 0), shownPeriod(stringOf(S, "period2", "day"))}),
               kDiscount),
         plain(tr("Discount %"), f.formatDouble(realOf(S, "percent"), m, -1) + "%", kPercent),
         plain(tr("Tax %"), f.formatDouble(realOf(S, "tax"), m, -1) + "%", kTax)}});
    if (previous_ >= 0) return out;

    Section previous{
        tr("Previous Rates"),
        tips ? tr("Only add a rate change when you change supplier, or they change your rates") : "",
        {}};
    if (const Array* changes = arrayOf(m, "previous")) {
        for (std::size_t c = 0; c < changes->size(); ++c) {
            const Value* to = (*changes)[c].find("to");
            previous.rows.push_back(
                plain(tr("Rates to"),
                      to && to->isDate() ? f.formatDate(to->date(), Formatter::DateStyle::Short, false) : "",
                      kRateChange, static_cast<int>(c)));
        }
    }
    Row add{tr("Add rate change"), "", Accessory::None};
    add.action = kAddRateChange;
    previous.rows.push_back(add);
    out.push_back(std::move(previous));
    return out;
}

void TariffViewController::flipSwitch(int tag, bool on) {
    const int i = (tag - kFirstSwitchTag) / 10, kind = (tag - kFirstSwitchTag) % 10;
    Array* tariffs = arrayOf(rateSet(), "tariffs");
    if (!tariffs || tag < kFirstSwitchTag || i >= registers() || i >= static_cast<int>(tariffs->size()))
        return;
    Value& T = (*tariffs)[static_cast<std::size_t>(i)];
    if (T.isDictionary()) T.set(kind == 0 ? "monthly" : "stepped", on);
}

void TariffViewController::select(const Row& row) {
    switch (row.action) {
        case kType:
            navigator_.push(std::make_unique<SelectionViewController>(app_, navigator_, meter_));
            break;
        case kFormat:
            navigator_.push(std::make_unique<FormatViewController>(app_, meter_));
            break;
        case kCurrency:
            navigator_.push(std::make_unique<CurrencyViewController>(app_, navigator_, meter_));
            break;
        case kUnits:
            navigator_.push(std::make_unique<UnitsViewController>(app_, navigator_, meter_));
            break;
        case kRateChange:
            navigator_.push(std::make_unique<TariffViewController>(app_, navigator_, meter_, row.index));
            break;
        case kAddRateChange:
            navigator_.present(
                Alert{kRateChangeTag,
                      tr("Rate Changes"),
                      tr("Your rates will be copied, letting you edit your current settings to reflect "
                         "your new rates"),
                      {tr("Cancel"), tr("OK")}});
            break;
        default:
            break;  // the other rows edit a value
    }
}

void TariffViewController::deleteAction() {
    if (previous_ < 0) return;
    navigator_.present(
        Alert{kDeleteRatesTag,
              tr("Delete Rates"),
              tr("Delete these rates and use the next set of rates for readings in this date range"),
              {tr("Cancel"), tr("Delete")}});
}

void TariffViewController::answerAlert(int tag, int button) {
    if (tag == kDeleteRatesTag) {
        if (button == 1 && previous_ >= 0) {
            deleteRateChange(meter(), previous_);
            previous_ = -1;
            navigator_.pop();
        }
        return;
    }
    if (tag == kRateChangeTag && button == 1)
        addRateChange(meter(), app_.calendar(), app_.environment().now());
}

std::string TariffViewController::backLabel() const {
    return previous_ < 0 ? tr("Meters") : tr("Back");
}

void TariffViewController::doneAction() {
    app_.settings().set("meter", meter_);
}

std::optional<ValueEdit> TariffViewController::edit(const Row& row) {
    std::optional<ValueEdit> edit = makeEdit(row);
    if (edit) return app_.guarded(std::move(*edit));
    return std::nullopt;
}

std::optional<ValueEdit> TariffViewController::makeEdit(const Row& row) {
    Value& m = meter();
    Value& S = rateSet();
    const Formatter& f = app_.formatter();
    const std::string symbol(symbolFor(stringOf(m, "code")).value_or(""));
    const std::string units(stringOf(m, "units"));
    using enum NumberKind;
    auto numberEdit = [&](std::string title, std::string prompt, Value& dict, const char* key,
                          const char* periodKey, NumberKind kind = Positive) {
        return numberEditor(std::move(title), std::move(prompt), dict, key, periodKey, kind, f);
    };
    // A step of a register's rates, by the row's index.
    auto step = [&]() -> Value* {
        Array* tariffs = arrayOf(S, "tariffs");
        const int reg = row.index / kPerRegister, k = row.index % kPerRegister;
        if (!tariffs || reg >= static_cast<int>(tariffs->size()) || k >= 12) return nullptr;
        Array* rates = arrayOf((*tariffs)[static_cast<std::size_t>(reg)], "rates");
        return rates && k < static_cast<int>(rates->size()) ? &(*rates)[static_cast<std::size_t>(k)]
                                                            : nullptr;
    };
    const std::string ratePrompt =
        fill(tr("Enter the amount (in %@) you are charged per %@"), {symbol, units});
    const int k = row.index % kPerRegister;
    switch (row.action) {
        case kTo:
            return dateEditor(m, previous_, app_.calendar());
        case kName:
            return nameEditor(m);
        case kPostcode:
            return postcodeEditor(m, "postcode", tr("Postcode"), tr("Enter the postcode for this meter"));
        case kHouse:
            return postcodeEditor(m, "house", tr("House/Flat"),
                                  tr("If you have more than one property at the same postcode, enter a "
                                     "house/flat number or name"));
        case kNotes:
            return notesEditor(m, "notes");
        case kFactor:
            return numberEdit(
                tr("Bill / Meter"),
                tr("This can be calculated from a bill by dividing the number of billed units by the number "
                   "of units used on your meter"),
                m, "factor", nullptr);
        case kFixed:
            return numberEdit(
                tr("Amount"),
                fill(tr("Enter the amount (in %@) you are charged per day, week, month, quarter or year"),
                     {symbol}),
                S, "fixed", "period", Money);
        case kRate:
            if (Value* st = step()) return numberEdit(tr("Amount"), ratePrompt, *st, "rate", nullptr, Money);
            return std::nullopt;
        case kRateOfTwo:
            if (Value* st = step())
                return numberEdit(fill("%@ " + std::to_string(k + 1), {tr("Rate")}), ratePrompt, *st, "rate",
                                  nullptr, Money);
            return std::nullopt;
        case kMonthRate:
            if (Value* st = step())
                return numberEdit(tr(kMonthNames[k]), ratePrompt, *st, "rate", nullptr, Money);
            return std::nullopt;
        case kMonthUnits:
            if (Value* st = step())
                return numberEdit(
                    tr(kMonthNames[k]),
                    fill(tr("Enter the number of initial units (in %@) for this month"), {units}), *st,
                    "units", nullptr, Count);
            return std::nullopt;
        case kStepUnits:
            if (Value* st = step())
                return numberEdit(
                    tr("Number"),
                    fill(k == 0 ? tr("Enter the number of units (in %@) this rate applies to per day, week, "
                                     "month, quarter or year. Otherwise enter 0 for all units")
                                : tr("Enter the number of units (in %@) this rate applies to per day, week, "
                                     "month, quarter or year. Otherwise enter 0 for all remaining units"),
                         {units}),
                    *st, "units", "period", Count);
            return std::nullopt;
        case kDiscount:
            return numberEdit(
                tr("Discount"),
                fill(tr("Enter the discount amount (in %@) per day, week, month, quarter or year"), {symbol}),
                S, "discount", "period2");
        case kPercent:
            return numberEdit(tr("Percent"),
                              tr("Enter the discount (as a percentage) to apply to all charges"), S,
                              "percent", nullptr);
        case kTax:
            return numberEdit(tr("Percent"),
                              tr("Enter the tax rate (as a percentage) to apply to all charges"), S, "tax",
                              nullptr);
        default:
            return std::nullopt;  // type, format, currency and units have choosers of their own
    }
}

}  // namespace numbrel
