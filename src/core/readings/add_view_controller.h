// Reading entry: a new reading for a meter, or an edit of one, entered on one wheel per dial digit or
// on a keypad, in whole units of the meter's last decimal place, so that no value can have more
// digits than the dial. After a new reading the screen can move on to the next meter.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "plist/value.h"
#include "ui/screen.h"

namespace numbrel {

class NumbrelAppDelegate;

class AddViewController : public Screen {
public:
    // readingIndex -1 adds a reading; otherwise the reading at that index is edited.
    AddViewController(NumbrelAppDelegate& app, Navigator& navigator, int meterIndex, int readingIndex = -1);

    std::string title() const override;
    std::vector<Section> sections() const override;
    void flipSwitch(int tag, bool on) override;
    void chooseSegment(int tag, int index) override;
    void answerAlert(int tag, int button) override;

    // Wheels: "digits" digit wheels, then the decimal separator and "precision" wheels.
    struct Component {
        bool separator = false;
        int rows = 500;  // a digit wheel's row r shows r mod 10, so it spins a long way either way
        int selected = 0;
        bool decimal = false;  // after the separator (drawn red)
        bool cursor = false;   // where a typed digit goes
    };
    std::vector<Component> components() const;
    void wheelChanged(int component, int row);
    std::string decimalSeparator() const;

    // Typing on a keyboard: on the keypad a digit comes in from the right as a tap would; on the
    // wheels it sets the wheel under the cursor, which starts on the left and moves right. Backspace
    // undoes the last digit either way. Selecting a wheel puts the cursor there.
    void typeKey(int digit);
    void backspaceKey();
    void selectWheel(int component);

    // Keypad: a digit is taken while the value is below maxReading; delete drops the last digit.
    bool keyboard() const;  // the setting "keyboard", unless forceScrollWheels
    void setForceScrollWheels(bool force) { forceScrollWheels_ = force; }
    void typeDigit(int digit);
    void deleteDigit();
    void clear();

    // The register chooser: "R1", "R2" ... or "Day"/"Night"; empty for one register.
    std::vector<std::string> registerChoices() const;
    int selectedRegister() const { return selected_; }
    std::int64_t value(int reg) const { return values_[static_cast<std::size_t>(reg)]; }
    std::int64_t maxReading() const { return maxReading_; }
    std::int64_t divideBy() const { return divideBy_; }

    // The date: the picker shows in place of the wheels after the Date row is selected; selecting
    // it again toggles date-and-time and date-only.
    enum class DateMode { Hidden, DateAndTime, DateOnly };
    DateMode dateMode() const { return dateMode_; }
    Date date() const { return date_; }
    void dateAction(Date date);

    // Saves (adds or moves the reading into date order); presents "Reading Saved" when there is a
    // next meter to go on to, otherwise closes.
    void saveAction();
    void cancelAction();

    int meterIndex() const { return meter_; }
    int readingIndex() const { return readingIndex_; }

    static constexpr int kSavedTag = 1;

protected:
    // The Date row shows the date picker (again: date only, then date and time); the Reading row the
    // wheels or keypad.
    void select(const Row& row) override;

private:
    Value& meter() const;
    void load();
    std::string readingText() const;

    NumbrelAppDelegate& app_;
    Navigator& navigator_;
    int meter_;
    int readingIndex_;
    std::array<std::int64_t, 3> values_{};
    std::int64_t divideBy_ = 10;
    std::int64_t maxReading_ = 0;
    int digits_ = 5, precision_ = 1;
    int selected_ = 0;
    int cursor_ = 0;  // the digit (0 the leftmost) a key sets on the wheels
    bool bill_ = false, isNew_ = false;
    bool showTip_ = true;
    bool forceScrollWheels_ = false;
    DateMode dateMode_ = DateMode::Hidden;
    Date date_{};
};

}  // namespace numbrel
