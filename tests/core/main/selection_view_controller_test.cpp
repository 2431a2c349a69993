#include "main/selection_view_controller.h"

#include <gtest/gtest.h>

#include "support/app_fixture.h"
#include "support/fake_navigator.h"

namespace numbrel {
namespace {

class Choosers : public test::AppFixture {
protected:
    test::FakeNavigator nav_;
};

TEST_F(Choosers, RegisterCombinationsSetEconomy7AndMinus) {
    SelectionViewController type(app_, nav_, 0);
    EXPECT_EQ(type.sections().size(), 2u);  // one register: no "Total Usage"
    type.selectRow(1, 1);                   // two registers
    ASSERT_EQ(type.sections().size(), 3u);
    struct Row {
        int registers, row;
        const char* formula;
        int economy7, minus;
    };
    for (const Row& r :
         {Row{2, 0, "R1 + R2", 0, 0}, Row{2, 1, "Day + Night", 2, 0}, Row{2, 2, "R1 - R2", 0, 2},
          Row{2, 3, "Night + Day", 1, 0}, Row{3, 0, "R1 + R2 + R3", 0, 0}, Row{3, 1, "R1 + R2 - R3", 0, 3},
          Row{3, 2, "R1 - R2 + R3", 0, 2}}) {
        type.selectRow(1, r.registers - 1);
        EXPECT_EQ(integerOf(meter(), "economy7"), 0);  // a register count resets the combination
        EXPECT_FALSE(meter().contains("minus"));
        type.selectRow(2, r.row);
        EXPECT_EQ(type.sections()[2].rows[static_cast<std::size_t>(r.row)].label, r.formula);
        EXPECT_EQ(integerOf(meter(), "economy7"), r.economy7) << r.formula;
        EXPECT_EQ(integerOf(meter(), "minus"), r.minus) << r.formula;
        EXPECT_EQ(type.sections()[2].rows[static_cast<std::size_t>(r.row)].accessory, Accessory::Check);
    }
    type.selectRow(0, 3);
    EXPECT_EQ(stringOf(meter(), "type"), "Solar");
}

TEST_F(Choosers, FormatGreysDigitsTheReadingsOutgrew) {
    meter()
        .find("readings")
        ->array()
        .push_back(
            Value::makeDictionary({{"date", Date{1.0}}, {"reading", Value(Array{123456.7, 0.0, 0.0})}}));
    FormatViewController format(app_, 0);
    auto before = format.sections()[0].rows;
    ASSERT_EQ(before.size(), 6u);
    EXPECT_TRUE(before[2].enabled);   // 6 digits
    EXPECT_FALSE(before[3].enabled);  // 5 digits cannot hold 123456.7
    format.selectRow(0, 3);
    EXPECT_EQ(integerOf(meter(), "digits"), 5);  // unchanged
    format.selectRow(0, 1);
    EXPECT_EQ(integerOf(meter(), "digits"), 7);
    format.selectRow(2, 1);
    EXPECT_EQ(integerOf(meter(), "direction"), 1);
    EXPECT_EQ(format.sections()[2].footer, "Usage is \"Yesterday - Today\"");
    format.selectRow(2, 0);
    EXPECT_FALSE(meter().contains("direction"));
}

TEST_F(Choosers, UnitsAndNewUnits) {
    UnitsViewController units(app_, nav_, 2);  // Water, in m³
    auto rows = units.sections()[0].rows;
    ASSERT_EQ(rows.size(), 4u);  // ft³, kWh, m³, and the add row
    EXPECT_EQ(rows[2].label, "m³");
    EXPECT_EQ(rows[2].accessory, Accessory::Check);
    EXPECT_EQ(rows.back().label, "Select to add new units");
    EXPECT_FALSE(units.editFor(0, 0));
    auto add = units.editFor(0, 3);
    ASSERT_TRUE(add);
    EXPECT_FALSE(add->apply("", ""));
    EXPECT_TRUE(add->apply("gallons", ""));
    EXPECT_TRUE(add->apply("kWh", ""));  // already there: the list is unchanged
    std::vector<std::string> labels;
    std::vector<Section> after = units.sections();
    for (const Row& r : after[0].rows)
        labels.push_back(r.label);
    EXPECT_EQ(labels, (std::vector<std::string>{"ft³", "gallons", "kWh", "m³", "Select to add new units"}));
    units.selectRow(0, 1);
    EXPECT_EQ(stringOf(meter(2), "units"), "gallons");
    EXPECT_EQ(nav_.pops, 1);
}

TEST_F(Choosers, EditingRemovesOnlyUnusedUnits) {
    UnitsViewController units(app_, nav_, 0);
    auto labels = [&] {
        std::vector<std::string> out;
        std::vector<Section> all = units.sections();
        for (const Row& r : all[0].rows)
            out.push_back(r.label + (r.deletable ? " (x)" : ""));
        return out;
    };
    EXPECT_EQ(labels(), (std::vector<std::string>{"ft³", "kWh", "m³", "Select to add new units"}));
    units.commitDelete(0, 0);  // not editing: nothing goes
    EXPECT_EQ(labels().size(), 4u);
    units.setEditing(true);
    EXPECT_EQ(units.sections()[0].footer, "Remove unused units, or add new ones");
    // kWh and m³ are some meter's units; ft³ is nobody's.
    EXPECT_EQ(labels(), (std::vector<std::string>{"ft³ (x)", "kWh", "m³", "Select to add new units"}));
    units.commitDelete(0, 1);  // kWh is in use
    units.commitDelete(0, 3);  // the add row
    EXPECT_EQ(labels().size(), 4u);
    units.commitDelete(0, 0);
    EXPECT_EQ(labels(), (std::vector<std::string>{"kWh", "m³", "Select to add new units"}));
    // A unit stops being in use when its last meter moves to another.
    meter(2).set("units", "kWh");
    meter(1).set("units", "kWh");
    EXPECT_EQ(labels(), (std::vector<std::string>{"kWh", "m³ (x)", "Select to add new units"}));
}

TEST_F(Choosers, ThemesAndTheNavigationBar) {
    bool barBlack = false;
    int styled = 0;
    NumbrelAppDelegate::Hooks hooks;
    hooks.applyBarStyle = [&](bool black) {
        barBlack = black;
        ++styled;
    };
    app_.setHooks(hooks);
    ThemeViewController themes(app_);
    std::vector<Section> s = themes.sections();
    ASSERT_EQ(s.size(), 2u);
    EXPECT_EQ(s[0].rows.size(), 5u);
    EXPECT_EQ(s[0].rows[4].accessory, Accessory::Check);  // theme 4 by default
    EXPECT_EQ(s[1].header, "Navigation Bar");
    themes.selectRow(0, 2);
    const Value* theme = app_.settings().find("theme");
    ASSERT_TRUE(theme && theme->isInteger());  // a number field gets the row's number
    EXPECT_EQ(theme->toInteger(), 2);
    themes.selectRow(1, 1);
    EXPECT_TRUE(boolOf(app_.settings(), "black"));
    EXPECT_TRUE(barBlack);
    themes.selectRow(1, 0);
    EXPECT_FALSE(barBlack);
    EXPECT_EQ(styled, 2);
    s = themes.sections();
    EXPECT_EQ(s[0].rows[2].accessory, Accessory::Check);
    EXPECT_EQ(s[1].rows[0].accessory, Accessory::Check);
    EXPECT_EQ(nav_.pops, 0);  // two sections: the list stays
}

}  // namespace
}  // namespace numbrel
