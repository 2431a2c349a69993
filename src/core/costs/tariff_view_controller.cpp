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

const char* const kMonths[12] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
const char* const kMonthNames[12] = {"January", "February", "March",     "April",   "May",      "June",
                                     "July",    "August",   "September", "October", "November", "December"};

Row plain(std::string label, std::string detail) {
    return Row{std::move(label), std::move(detail), Accessory::Disclosure};
}

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
                   to && to->isDate() ? f.formatDate(to->date(), Formatter::DateStyle::Short, false) : "")}});
    } else {
        // The meter.
        std::string type(stringOf(m, "type"));
        if (E == 2) {
            type = fill(economy7 == 2   ? "%@ (Day+Night)"
                        : economy7 == 1 ? "%@ (Night+Day)"
                        : minus == 2    ? "%@ (R1-R2)"
                                        : "%@ (R1+R2)",
                        {type});
        } else if (E == 3) {
            type = fill(minus == 3   ? "%@ (R1+R2-R3)"
                        : minus == 2 ? "%@ (R1-R2+R3)"
                                     : "%@ (R1+R2+R3)",
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
            {plain(tr("Name"), std::string(stringOf(m, "name"))), plain(tr("Type"), type),
             plain(tr("Format/Direction"), format), plain(tr("Currency"), symbol)}};
        if (gbp) {
            meterSection.rows.push_back(plain(tr("Postcode"), std::string(stringOf(m, "postcode"))));
            meterSection.rows.push_back(plain(tr("House/Flat"), std::string(stringOf(m, "house"))));
        }
        meterSection.rows.push_back(plain(tr("Notes"), std::string(stringOf(m, "notes"))));
        out.push_back(std::move(meterSection));

        out.push_back(
            Section{tr("Units"),
                    tips ? tr("Set a conversion factor if your meter and billed units are different") : "",
                    {plain(tr("Billed"), units),
                     plain(tr("Conversion"), f.formatDouble(realOf(m, "factor", 1.0), m, -1))}});
    }
    out.push_back(
        Section{tr("Fixed or Time Based Rates"),
                tips ? tr("If you have multiple fixed rates, simply add them together") : "",
                {plain("", fill("%@/%@", {f.formatCost(realOf(S, "fixed"), m, 0),
                                          tr(std::string(stringOf(S, "period", "day")).c_str())}))}});

    const Array* tariffs = arrayOf(S, "tariffs");
    for (int i = 0; i < E; ++i) {
        const int section = firstRegisterSection() + i;
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
            s.rows.push_back(plain(tr("Rate 1"), rate(0)));
            s.rows.push_back(plain(tr("Rate 2"), rate(1)));
            for (int k = 0; k < 12; ++k)
                s.rows.push_back(
                    plain(tr(kMonths[k]), f.formatDouble(step(k) ? realOf(*step(k), "units") : 0.0, m, -1)));
        } else if (monthly) {
            for (int k = 0; k < 12; ++k)
                s.rows.push_back(plain(tr(kMonths[k]), rate(k)));
        } else if (stepped) {
            int n = 12;
            for (int k = 0; k < 12; ++k)
                if (!(step(k) && realOf(*step(k), "units") > 0)) {
                    n = k;
                    break;
                }
            for (int k = 0; k <= std::min(n, 11); ++k) {
                double u = step(k) ? realOf(*step(k), "units") : 0.0;
                std::string detail = u > 0 ? f.formatDouble(u, m, -1) + "/" +
                                                 tr(std::string(stringOf(*step(k), "period", "day")).c_str())
                                           : (k == 0 ? tr("all") : tr("all remaining"));
                s.rows.push_back(plain(k == 0 ? tr("Initial units") : tr("Next units"), detail));
                s.rows.push_back(plain(tr("Rate"), rate(k)));
            }
        } else {
            s.rows.push_back(plain(tr("Rate"), rate(0)));
        }
        s.rows.push_back(toggle(tr("Stepped"), section * 10 + 1, stepped));
        s.rows.push_back(toggle(tr("Monthly"), section * 10 + 0, monthly));
        out.push_back(std::move(s));
    }

    out.push_back(Section{
        tr("Discounts and Tax"),
        tips ? tr("Include half of any dual fuel discount") : "",
        {plain(tr("Discount"), fill("%@/%@", {f.formatCost(realOf(S, "discount"), m, 0),
                                              tr(std::string(stringOf(S, "period2", "day")).c_str())})),
         plain(tr("Discount %"), f.formatDouble(realOf(S, "percent"), m, -1) + "%"),
         plain(tr("Tax %"), f.formatDouble(realOf(S, "tax"), m, -1) + "%")}});
    if (previous_ >= 0) return out;

    Section previous{
        tr("Previous Rates"),
        tips ? tr("Only add a rate change when you change supplier, or they change your rates") : "",
        {}};
    if (const Array* changes = arrayOf(m, "previous")) {
        for (const Value& c : *changes) {
            const Value* to = c.find("to");
            previous.rows.push_back(plain(
                tr("Rates to"),
                to && to->isDate() ? f.formatDate(to->date(), Formatter::DateStyle::Short, false) : ""));
        }
    }
    previous.rows.push_back(Row{tr("Add rate change"), "", Accessory::None});
    out.push_back(std::move(previous));
    return out;
}

void TariffViewController::flipSwitch(int tag, bool on) {
    int section = tag / 10, kind = tag % 10;
    Array* tariffs = arrayOf(rateSet(), "tariffs");
    int i = section - firstRegisterSection();
    if (!tariffs || i < 0 || i >= registers() || i >= static_cast<int>(tariffs->size())) return;
    Value& T = (*tariffs)[static_cast<std::size_t>(i)];
    if (T.isDictionary()) T.set(kind == 0 ? "monthly" : "stepped", on);
}

void TariffViewController::selectRow(int section, int row) {
    if (previous_ >= 0) return;  // a rate change's rows are all value edits
    if (section == 0 && row == 1)
        navigator_.push(std::make_unique<SelectionViewController>(app_, navigator_, meter_));
    if (section == 0 && row == 2) navigator_.push(std::make_unique<FormatViewController>(app_, meter_));
    if (section == 0 && row == 3)
        navigator_.push(std::make_unique<CurrencyViewController>(app_, navigator_, meter_));
    if (section == 1 && row == 0)
        navigator_.push(std::make_unique<UnitsViewController>(app_, navigator_, meter_));
    if (section == 4 + registers()) {
        const Array* changes = arrayOf(meter(), "previous");
        int n = changes ? static_cast<int>(changes->size()) : 0;
        if (row >= 0 && row < n)
            navigator_.push(std::make_unique<TariffViewController>(app_, navigator_, meter_, row));
        if (row == n)
            navigator_.present(
                Alert{kRateChangeTag,
                      tr("Rate Changes"),
                      tr("Your rates will be copied, letting you edit your current settings to reflect "
                         "your new rates"),
                      {tr("Cancel"), tr("OK")}});
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

void TariffViewController::doneAction() {
    app_.settings().set("meter", meter_);
}

std::optional<ValueEdit> TariffViewController::editFor(int section, int row) {
    std::optional<ValueEdit> edit = makeEdit(section, row);
    if (edit) return app_.guarded(std::move(*edit));
    return std::nullopt;
}

std::optional<ValueEdit> TariffViewController::makeEdit(int section, int row) {
    Value& m = meter();
    Value& S = rateSet();
    if (previous_ >= 0) {
        if (section == 0 && row == 0) return dateEditor(m, previous_, app_.calendar());
        if (section == 0) return std::nullopt;
        ++section;  // from here on the sections line up with the meter's own
    }
    const Formatter& f = app_.formatter();
    const std::string symbol(symbolFor(stringOf(m, "code")).value_or(""));
    const std::string units(stringOf(m, "units"));
    const int E = registers();
    using enum NumberKind;
    auto numberEdit = [&](std::string title, std::string prompt, Value& dict, const char* key,
                          const char* periodKey, NumberKind kind = Positive) {
        return numberEditor(std::move(title), std::move(prompt), dict, key, periodKey, kind, f);
    };

    if (section == 0) {
        bool gbp = stringOf(m, "code") == "GBP";
        if (row == 0) return nameEditor(m);
        if (row == 4 && gbp)
            return postcodeEditor(m, "postcode", tr("Postcode"), tr("Enter the postcode for this meter"));
        if (row == 5 && gbp)
            return postcodeEditor(m, "house", tr("House/Flat"),
                                  tr("If you have more than one property at the same postcode, enter a "
                                     "house/flat number or name"));
        if ((row == 6 && gbp) || (row == 4 && !gbp)) return notesEditor(m, "notes");
        return std::nullopt;  // type and format have choosers of their own
    }
    if (section == 1) {
        if (row == 0) return std::nullopt;  // the units have a chooser of their own
        return numberEdit(
            tr("Bill / Meter"),
            tr("This can be calculated from a bill by dividing the number of billed units by the number "
               "of units used on your meter"),
            m, "factor", nullptr);
    }
    if (section == 2)
        return numberEdit(
            tr("Amount"),
            fill(tr("Enter the amount (in %@) you are charged per day, week, month, quarter or year"),
                 {symbol}),
            S, "fixed", "period", Money);
    if (section >= 3 && section < 3 + E) {
        Array* tariffs = arrayOf(S, "tariffs");
        if (!tariffs || section - 3 >= static_cast<int>(tariffs->size())) return std::nullopt;
        Value& T = (*tariffs)[static_cast<std::size_t>(section - 3)];
        Array* rates = arrayOf(T, "rates");
        if (!rates || rates->size() < 12) return std::nullopt;
        auto step = [&](int k) -> Value& { return (*rates)[static_cast<std::size_t>(k)]; };
        std::string ratePrompt = fill(tr("Enter the amount (in %@) you are charged per %@"), {symbol, units});
        bool stepped = boolOf(T, "stepped"), monthly = boolOf(T, "monthly");
        if (monthly && stepped) {
            if (row == 0 || row == 1)
                return numberEdit(fill("%@ " + std::to_string(row + 1), {tr("Rate")}), ratePrompt, step(row),
                                  "rate", nullptr, Money);
            if (row >= 2 && row < 14)
                return numberEdit(
                    tr(kMonthNames[row - 2]),
                    fill(tr("Enter the number of initial units (in %@) for this month"), {units}),
                    step(row - 2), "units", nullptr, Count);
        } else if (monthly) {
            if (row < 12)
                return numberEdit(tr(kMonthNames[row]), ratePrompt, step(row), "rate", nullptr, Money);
        } else if (stepped) {
            int k = row / 2;
            if (k < 12 && row % 2 == 1)
                return numberEdit(tr("Amount"), ratePrompt, step(k), "rate", nullptr, Money);
            if (k < 12)
                return numberEdit(
                    tr("Number"),
                    fill(k == 0 ? tr("Enter the number of units (in %@) this rate applies to per day, week, "
                                     "month, quarter or year. Otherwise enter 0 for all units")
                                : tr("Enter the number of units (in %@) this rate applies to per day, week, "
                                     "month, quarter or year. Otherwise enter 0 for all remaining units"),
                         {units}),
                    step(k), "units", "period", Count);
        } else if (row == 0) {
            return numberEdit(tr("Amount"), ratePrompt, step(0), "rate", nullptr, Money);
        }
        return std::nullopt;
    }
    if (section == 3 + E) {
        if (row == 0)
            return numberEdit(
                tr("Discount"),
                fill(tr("Enter the discount amount (in %@) per day, week, month, quarter or year"), {symbol}),
                S, "discount", "period2");
        if (row == 1)
            return numberEdit(tr("Percent"),
                              tr("Enter the discount (as a percentage) to apply to all charges"), S,
                              "percent", nullptr);
        if (row == 2)
            return numberEdit(tr("Percent"),
                              tr("Enter the tax rate (as a percentage) to apply to all charges"), S, "tax",
                              nullptr);
    }
    return std::nullopt;
}

}  // namespace numbrel
