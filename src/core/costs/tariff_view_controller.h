// The tariff editor of one meter: its properties, billed units and conversion factor, fixed charge,
// the per-register rates (single, stepped or by month), discounts and tax, and its rate changes.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "plist/value.h"
#include "ui/screen.h"

namespace numbrel {

class NumbrelAppDelegate;

class TariffViewController : public Screen {
public:
    // previous: -1 edits the meter's own rates; an index into "previous" edits that rate change (the
    // rate-change screen: its end date, fixed charge, per-unit rates and discounts, and delete).
    TariffViewController(NumbrelAppDelegate& app, Navigator& navigator, int meterIndex, int previous = -1);

    std::string title() const override;
    std::vector<Section> sections() const override;
    void selectRow(int section, int row) override;
    void flipSwitch(int tag, bool on) override;
    void answerAlert(int tag, int button) override;
    // Done: the main screen shows this meter.
    void doneAction();

    // What a row edits: the editor's title and prompt, the value as text, and whether a period word
    // goes with it. apply() stores the text (and period) with the editors' rules; false when refused.
    struct Edit {
        std::string title;
        std::string prompt;
        std::string value;
        std::optional<std::string> period;  // "day" ... "year" when the value is per period
        bool number = true;
        std::function<bool(const std::string& text, const std::string& period)> apply;
    };
    std::optional<Edit> editFor(int section, int row);

    // The rate-change screen's delete button: asks "Delete Rates" first.
    void deleteAction();
    bool editsRateChange() const { return previous_ >= 0; }

    static constexpr int kRateChangeTag = 40;
    static constexpr int kDeleteRatesTag = 41;

private:
    Value& meter() const;
    Value& rateSet() const;  // the meter, or the rate change being edited
    int registers() const;
    int firstRegisterSection() const { return previous_ >= 0 ? 2 : 3; }

    NumbrelAppDelegate& app_;
    Navigator& navigator_;
    int meter_;
    int previous_;
};

}  // namespace numbrel
