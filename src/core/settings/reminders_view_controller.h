// The reminders screen: how often readings are due ("Off", "Daily", "Weekly", "Monthly"), on which
// weekday or date, and at which hour. Every choice is written at once and the list is shown again.
#pragma once

#include <string>
#include <vector>

#include "ui/screen.h"

namespace numbrel {

class NumbrelAppDelegate;

class RemindersViewController : public Screen {
public:
    // note: a line for the footer about where reminders go on this machine ("" for none).
    RemindersViewController(NumbrelAppDelegate& app, std::string note = {});
    std::string title() const override;
    std::vector<Section> sections() const override;

    enum Action { kKind = 1, kDay, kHour };

protected:
    void select(const Row& row) override;

private:
    NumbrelAppDelegate& app_;
    std::string note_;
};

}  // namespace numbrel
