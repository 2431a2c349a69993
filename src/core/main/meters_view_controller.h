// The meters list: jump to a meter, open its rates with its info button, and in editing mode delete
// (with a warning when it has readings), re-order and add meters.
#pragma once

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
    void answerAlert(int tag, int button) override;
    bool canEdit() const override { return true; }
    bool isEditing() const override { return editing_; }
    void setEditing(bool on) override { editing_ = on; }

    // Creates a meter with the name typed (nothing for an empty name).
    void addMeter(const std::string& name);

    static constexpr int kDeleteTag = 2;

protected:
    // A meter's row jumps to it (editing: opens its rates); the add row names a new meter.
    void select(const Row& row) override;
    std::optional<ValueEdit> edit(const Row& row) override;
    // Deletes a meter: at once when it has no readings, else after the warning.
    void remove(const Row& row) override;
    void info(const Row& row) override;
    // Moves a meter; a move onto or below the add row is refused.
    bool move(const Row& row, int to) override;

private:
    int count() const;
    void openRates(int meter);
    NumbrelAppDelegate& app_;
    Navigator& navigator_;
    bool editing_ = false;
    int deleteRow_ = -1;
};

}  // namespace numbrel
