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
    void flipSwitch(int tag, bool on) override;
    void answerAlert(int tag, int button) override;
    // Done: the main screen shows this meter.
    void doneAction();
    void closeAction() override { doneAction(); }
    // A meter's rates go back to the meters list, or are done; a rate change goes back to them.
    std::string backLabel() const override;
    bool hasDone() const override { return previous_ < 0; }

    // The rate-change screen's delete button: asks "Delete Rates" first.
    bool canDelete() const override { return previous_ >= 0; }
    void deleteAction() override;
    bool editsRateChange() const { return previous_ >= 0; }

    static constexpr int kRateChangeTag = 40;
    static constexpr int kDeleteRatesTag = 41;

protected:
    // The choosers and the rate changes open from their rows; the other rows edit their value with
    // the editors' rules.
    void select(const Row& row) override;
    std::optional<ValueEdit> edit(const Row& row) override;

private:
    std::optional<ValueEdit> makeEdit(const Row& row);
    Value& meter() const;
    Value& rateSet() const;  // the meter, or the rate change being edited
    int registers() const;

    NumbrelAppDelegate& app_;
    Navigator& navigator_;
    int meter_;
    int previous_;
};

}  // namespace numbrel
