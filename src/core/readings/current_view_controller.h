// The current period summary: one meter's latest interval (its two newest readings) broken down into
// dates, usage and cost per register, fixed charges, discounts and total, and the same rate per day to
// per year; with the current period's figure the main screen was showing.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ui/screen.h"

namespace numbrel {

class NumbrelAppDelegate;

class CurrentViewController : public Screen {
public:
    // period: 0 "Day" ... 4 "Year", the main screen's period; usage and cost: its current figures.
    CurrentViewController(NumbrelAppDelegate& app, int meterIndex, int period, std::optional<double> usage,
                          std::optional<double> cost);

    std::string title() const override;
    std::vector<Section> sections() const override;
    // A summary to read and close.
    std::string backLabel() const override { return {}; }
    bool hasDone() const override { return true; }

private:
    NumbrelAppDelegate& app_;
    int meter_;
    int period_;
    std::optional<double> usage_, cost_;
};

}  // namespace numbrel
