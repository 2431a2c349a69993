#include "main/meters_view_controller.h"

#include <gtest/gtest.h>

#include "support/app_fixture.h"
#include "support/fake_navigator.h"

namespace numbrel {
namespace {

class MetersList : public test::AppFixture {
protected:
    std::vector<std::string> names() {
        std::vector<std::string> out;
        for (const Value& m : *metersOf(app_.settings()))
            out.emplace_back(stringOf(m, "name"));
        return out;
    }
    test::FakeNavigator nav_;
};

TEST_F(MetersList, JumpDeleteMoveAdd) {
    MetersViewController list(app_, nav_);
    auto rows = list.sections()[0].rows;
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_TRUE(rows[0].checked);  // the meter shown
    EXPECT_EQ(rows[0].accessory, Accessory::Info);
    list.selectRow(0, 2);
    EXPECT_EQ(integerOf(app_.settings(), "meter"), 2);
    EXPECT_EQ(nav_.pops, 1);

    list.setEditing(true);
    EXPECT_EQ(list.sections()[0].rows.back().label, "Select to add new meter");
    EXPECT_EQ(list.sections()[0].footer, "Delete, re-order or add new meters");
    EXPECT_FALSE(list.moveRow(0, 0, 3));  // onto the add row: refused
    EXPECT_FALSE(list.moveRow(0, 0, 4));  // past every row
    EXPECT_EQ(names(), (std::vector<std::string>{"Electricity", "Gas", "Water"}));
    EXPECT_TRUE(list.moveRow(0, 2, 0));
    EXPECT_EQ(names(), (std::vector<std::string>{"Water", "Electricity", "Gas"}));
    EXPECT_EQ(integerOf(app_.settings(), "meter"), 0);

    std::optional<ValueEdit> name = list.editFor(0, 3);  // the add row
    ASSERT_TRUE(name);
    EXPECT_EQ(name->title, "Meter Name");
    EXPECT_TRUE(name->required);
    EXPECT_FALSE(name->apply("   ", ""));  // no name, no meter
    EXPECT_TRUE(name->apply(" Heat ", ""));
    EXPECT_EQ(names().back(), "Heat");
    EXPECT_EQ(names().size(), 4u);
    list.commitDelete(0, 3);  // no readings: at once
    EXPECT_EQ(names().size(), 3u);

    meter(1)
        .find("readings")
        ->array()
        .push_back(Value::makeDictionary({{"date", Date{1.0}}, {"reading", Value(Array{1.0, 0.0, 0.0})}}));
    list.commitDelete(0, 1);
    ASSERT_EQ(nav_.alerts.size(), 1u);
    EXPECT_EQ(nav_.alerts[0].message, "Deleting this meter will also delete all of its readings");
    list.answerAlert(MetersViewController::kDeleteTag, 0);  // Cancel
    EXPECT_EQ(names().size(), 3u);
    EXPECT_FALSE(list.isEditing());
    list.setEditing(true);
    list.commitDelete(0, 1);
    list.answerAlert(MetersViewController::kDeleteTag, 1);  // OK
    EXPECT_EQ(names(), (std::vector<std::string>{"Water", "Gas"}));
}

TEST_F(MetersList, TheInfoButtonOpensAMetersRates) {
    MetersViewController list(app_, nav_);
    list.showInfo(0, 1);
    ASSERT_EQ(nav_.pushed.size(), 1u);
    EXPECT_EQ(nav_.pushed[0]->title(), "Gas");
    EXPECT_EQ(nav_.pops, 0);  // the list stays
}

}  // namespace
}  // namespace numbrel
