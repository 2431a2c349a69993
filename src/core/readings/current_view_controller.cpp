#include "readings/current_view_controller.h"

#include <algorithm>
#include <cmath>

#include "costs/formatter.h"
#include "store/app_delegate.h"
#include "store/document.h"
#include "store/meter_record.h"
#include "ui/localize.h"

namespace numbrel {

CurrentViewController::CurrentViewController(NumbrelAppDelegate& app, int meterIndex, int period,
                                             std::optional<double> usage, std::optional<double> cost)
    : app_(app), meter_(meterIndex), period_(std::clamp(period, 0, 4)), usage_(usage), cost_(cost) {}

std::string CurrentViewController::title() const {
    return tr("Current");
}

std::vector<Section> CurrentViewController::sections() const {
    const Array* meters = metersOf(app_.settings());
    if (!meters || meter_ < 0 || meter_ >= static_cast<int>(meters->size())) return {};
    const Value& m = (*meters)[static_cast<std::size_t>(meter_)];
    const Array* readings = readingsOf(m);
    if (!readings || readings->size() < 2) {
        Row only{tr("Add 2 or more readings to see the current period"), ""};
        only.selectable = false;
        return {Section{"", "", {only}}};
    }
    const Engine engine = app_.engine();
    const Formatter& f = app_.formatter();
    const std::string units(stringOf(m, "units"));
    auto line = [&](double usage, double cost) {
        return f.formatUsage(usage, m) + " " + units + ", " + f.formatCost(cost, m);
    };
    auto row = [](std::string label, std::string detail) {
        Row r{std::move(label), std::move(detail)};
        r.selectable = false;
        return r;
    };
    std::vector<Section> out;

    static const char* const kPeriods[5] = {N_("Day"), N_("Week"), N_("Month"), N_("Quarter"), N_("Year")};
    std::string current = "?";
    if (usage_ && cost_) {
        current = line(*usage_, *cost_);
    } else if (cost_) {
        current = f.formatCost(*cost_, m);
    } else if (usage_) {
        current = f.formatUsage(*usage_, m) + " " + units;
    }
    out.push_back(Section{tr("Current Period"), "", {row(tr(kPeriods[period_]), current)}});

    const double D = engine.days(meter_, 1, 0);
    auto dateOf = [&](int i) {
        const Value* d = (*readings)[static_cast<std::size_t>(i)].find("date");
        return d && d->isDate() ? f.formatDate(d->date(), Formatter::DateStyle::Short, true) : std::string();
    };
    out.push_back(Section{tr("Current Reading"),
                          "",
                          {row(tr("Date"), dateOf(0)), row(tr("Previous"), dateOf(1)),
                           row(tr("Days"), f.formatDouble(D, m, 2))}});

    std::string_view type = stringOf(m, "type");
    Section usage{
        type == "Solar" || type == "Wind" ? tr("Generation and Credit") : tr("Usage and Cost"), "", {}};
    const int enabled = static_cast<int>(std::clamp<std::int64_t>(integerOf(m, "enabled", 1), 1, 3));
    const std::int64_t economy7 = integerOf(m, "economy7");
    double registerCosts = 0.0;
    for (int r = 1; r <= enabled; ++r) {
        std::string label = enabled == 1 ? tr("Usage") : "R" + std::to_string(r);
        if (enabled == 2 && economy7 >= 1) label = (economy7 == 1) == (r == 1) ? tr("Night") : tr("Day");
        double cost = engine.cost(meter_, r, 1, 0);
        registerCosts += cost;
        usage.rows.push_back(row(label, line(engine.usage(meter_, r, 1, 0) * D, cost * D)));
    }
    const double fixed = engine.fixed(meter_, 1, 0);
    const double u = engine.usage(meter_, 0, 1, 0), k = engine.cost(meter_, 0, 1, 0);
    usage.rows.push_back(row(tr("Fixed Rates"), f.formatCost(fixed * D, m)));
    // The gap between the parts and the total: discounts and tax together, so it may be negative.
    double gap = D * (fixed + registerCosts - k);
    // Rounding noise of a sum that is zero in exact arithmetic would show as "-0.00".
    if (std::abs(gap) <= 1e-9 * D * (std::abs(fixed) + std::abs(registerCosts) + std::abs(k))) gap = 0.0;
    usage.rows.push_back(row(tr("Discounts"), f.formatCost(gap, m)));
    usage.rows.push_back(row(tr("Total"), line(u * D, k * D)));
    out.push_back(std::move(usage));

    Section equivalent{tr("Equivalent to"), "", {}};
    static const std::pair<const char*, double> kFactors[5] = {{N_("Per Day"), 1},
                                                               {N_("Per Week"), 7},
                                                               {N_("Per Month"), 365.0 / 12},
                                                               {N_("Per Quarter"), 91.25},
                                                               {N_("Per Year"), 365}};
    for (const auto& [label, factor] : kFactors)
        equivalent.rows.push_back(row(tr(label), line(u * factor, k * factor)));
    out.push_back(std::move(equivalent));
    return out;
}

}  // namespace numbrel
