// The option choosers of a meter: its type with the number of registers and how they add up, and its
// dial format and counting direction. Each choice is written into the meter at once.
#pragma once

#include <string>
#include <vector>

#include "plist/value.h"
#include "ui/screen.h"

namespace numbrel {

class NumbrelAppDelegate;

// The meter type: types, then "Readings/Counters" (1 to 3 registers), then for 2 or 3 registers
// "Total Usage": how the registers add up.
class SelectionViewController : public Screen {
public:
    SelectionViewController(NumbrelAppDelegate& app, Navigator& navigator, int meterIndex);
    std::string title() const override;
    std::vector<Section> sections() const override;

protected:
    void select(const Row& row) override;

private:
    Value& meter() const;
    NumbrelAppDelegate& app_;
    Navigator& navigator_;
    int meter_;
};

// "Format/Direction": digits before the point (those too few for the largest reading greyed),
// decimals after it, and whether the dial counts up, down or shows the usage itself.
class FormatViewController : public Screen {
public:
    FormatViewController(NumbrelAppDelegate& app, int meterIndex);
    std::string title() const override;
    std::vector<Section> sections() const override;

protected:
    void select(const Row& row) override;

private:
    Value& meter() const;
    NumbrelAppDelegate& app_;
    int meter_;
    int leastDigits_;
};

// The currency: the codes of the symbol table by first letter (the letters are the section index),
// each with its symbol; choosing one stores it and goes back.
class CurrencyViewController : public Screen {
public:
    CurrencyViewController(NumbrelAppDelegate& app, Navigator& navigator, int meterIndex);
    std::string title() const override;
    std::vector<Section> sections() const override;

protected:
    void select(const Row& row) override;

private:
    Value& meter() const;
    NumbrelAppDelegate& app_;
    Navigator& navigator_;
    int meter_;
};

// The units a meter is billed in: the settings' "units" list, then "Select to add new units", which
// adds a unit of the user's own (kept sorted without regard to case). In editing mode the units no
// meter uses can be removed.
class UnitsViewController : public Screen {
public:
    UnitsViewController(NumbrelAppDelegate& app, Navigator& navigator, int meterIndex);
    std::string title() const override;
    std::vector<Section> sections() const override;
    bool canEdit() const override { return true; }
    bool isEditing() const override { return editing_; }
    void setEditing(bool on) override { editing_ = on; }

protected:
    void select(const Row& row) override;
    std::optional<ValueEdit> edit(const Row& row) override;
    void remove(const Row& row) override;

private:
    Value& meter() const;
    bool inUse(std::string_view unit) const;
    NumbrelAppDelegate& app_;
    Navigator& navigator_;
    int meter_;
    bool editing_ = false;
};

// "Themes": the graphs' colour themes (stored as the row's number in the settings' "theme"), and
// under "Navigation Bar" the bar's style ("Default" or "Black", the settings' "black" flag).
class ThemeViewController : public Screen {
public:
    explicit ThemeViewController(NumbrelAppDelegate& app);
    std::string title() const override;
    std::vector<Section> sections() const override;

protected:
    void select(const Row& row) override;

private:
    NumbrelAppDelegate& app_;
};

// The register combinations of the "Total Usage" section, by register count, and what each sets.
struct RegisterCombination {
    const char* label;
    int economy7;  // 0 none
    int minus;     // 0 none
};
const std::vector<RegisterCombination>& registerCombinations(int registers);

}  // namespace numbrel
