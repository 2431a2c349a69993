// The meters list: jump to a meter, and in editing mode delete (with a warning when it has readings),
// re-order and add meters.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "ui/screen.h"

namespace numbrel {

class NumbrelAppDelegate;

class MetersViewController : public Screen {
public:
    MetersViewController(NumbrelAppDelegate& app, Navigator& navigator);

    std::string title() const override;
    std::vector<Section> sections() const override;
    void selectRow(int section, int row) override;
    void answerAlert(int tag, int button) override;

    bool editing() const { return editing_; }
    void editAction() { editing_ = true; }
    void doneAction() { editing_ = false; }

    // Deletes a meter: at once when it has no readings, else after the warning.
    void deleteRow(int row);
    // Moves a meter; a move onto or below the add row is refused.
    bool moveRow(int from, int to);
    // Creates a meter with the name typed (nothing for an empty name).
    void addMeter(const std::string& name);
    // The name entry that creates a meter ("Meter Name"; Save only with a name).
    ValueEdit newMeterEdit();

    // What opens the tariff editor for a meter (the detail button), and the name entry for a new one.
    void setTariffEditorHook(std::function<void(int)> hook) { tariffHook_ = std::move(hook); }
    void setAddHook(std::function<void()> hook) { addHook_ = std::move(hook); }

    static constexpr int kDeleteTag = 2;

private:
    int count() const;
    NumbrelAppDelegate& app_;
    Navigator& navigator_;
    bool editing_ = false;
    int deleteRow_ = -1;
    std::function<void(int)> tariffHook_;
    std::function<void()> addHook_;
};

}  // namespace numbrel
