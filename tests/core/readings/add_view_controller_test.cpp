#include "readings/add_view_controller.h"

#include <gtest/gtest.h>

#include "main/root_view_controller.h"
#include "store/app_delegate.h"
#include "store/document.h"
#include "support/app_fixture.h"
#include "support/fake_navigator.h"
#include "support/test_support.h"

namespace numbrel {
namespace {

using test::at;

class ReadingEntry : public test::AppFixture {
protected:
    std::size_t readings(int i) { return meter(i).find("readings")->size(); }
    double value(int m, int r, int reg = 0) {
        return meter(m)
            .find("readings")
            ->array()[static_cast<std::size_t>(r)]
            .find("reading")
            ->array()[reg]
            .real();
    }

    test::FakeNavigator nav_;
};

TEST_F(ReadingEntry, WheelsFollowTheDial) {
    meter(0).set("digits", 6);
    meter(0).set("precision", 2);
    AddViewController add(app_, nav_, 0);
    std::vector<AddViewController::Component> wheels = add.components();
    ASSERT_EQ(wheels.size(), 9u);  // 6 digits, the separator, 2 decimals
    EXPECT_TRUE(wheels[6].separator);
    EXPECT_EQ(wheels[6].rows, 1);
    EXPECT_TRUE(wheels[7].decimal);
    EXPECT_EQ(wheels[0].rows, 500);
    EXPECT_EQ(wheels[8].selected, 250);  // 0, in the middle of the wheel
    // Set 1234.56 digit by digit, spinning some wheels far.
    int digits[] = {0, 0, 1, 2, 3, 4, -1, 5, 6};
    for (int c = 0; c < 9; ++c)
        if (digits[c] >= 0) add.wheelChanged(c, digits[c] + (c % 2 ? 10 * 17 : 250));
    EXPECT_EQ(add.value(0), 123456);
    EXPECT_EQ(add.components()[8].selected, 256);
    add.saveAction();
    EXPECT_DOUBLE_EQ(value(0, 0), 1234.56);

    meter(1).set("precision", 0);
    AddViewController plain(app_, nav_, 1);
    EXPECT_EQ(plain.components().size(), 5u);  // no separator
    EXPECT_EQ(plain.maxReading(), 10000);
}

TEST_F(ReadingEntry, KeypadStopsAtTheDialsWidth) {
    app_.settings().set("keyboard", true);
    AddViewController add(app_, nav_, 0);
    EXPECT_TRUE(add.keyboard());
    for (int d : {1, 2, 3, 4, 5, 6, 7})
        add.typeDigit(d);
    EXPECT_EQ(add.value(0), 123456);  // 12345.6: the seventh digit is refused
    EXPECT_EQ(detailOf(add.sections(), "Reading"), "12345.6");
    add.deleteDigit();
    EXPECT_EQ(add.value(0), 12345);
    add.typeDigit(9);
    EXPECT_EQ(add.value(0), 123459);
    add.clear();
    EXPECT_EQ(add.value(0), 0);
    add.setForceScrollWheels(true);
    EXPECT_FALSE(add.keyboard());
}

TEST_F(ReadingEntry, TypingOnTheWheelsGoesFromTheLeft) {
    meter(0).set("digits", 4);
    meter(0).set("precision", 2);
    AddViewController add(app_, nav_, 0);
    auto cursorAt = [&] {
        std::vector<AddViewController::Component> wheels = add.components();
        return static_cast<int>(
            std::find_if(wheels.begin(), wheels.end(), [](const auto& c) { return c.cursor; }) -
            wheels.begin());
    };
    EXPECT_EQ(cursorAt(), 0);
    for (int d : {0, 9, 8, 7, 6})
        add.typeKey(d);
    EXPECT_EQ(add.value(0), 98760);  // 0987.60: the fifth digit is the first decimal
    EXPECT_EQ(cursorAt(), 6);        // past the separator, on the last decimal
    add.typeKey(5);
    add.typeKey(4);  // every wheel is set: refused
    EXPECT_EQ(add.value(0), 98765);
    EXPECT_EQ(detailOf(add.sections(), "Reading"), "0987.65");
    add.backspaceKey();
    add.backspaceKey();
    EXPECT_EQ(add.value(0), 98700);
    EXPECT_EQ(cursorAt(), 5);  // the first decimal
    add.selectWheel(1);        // the hundreds
    add.typeKey(3);
    EXPECT_EQ(add.value(0), 38700);
    add.selectWheel(4);  // the separator is no place for the cursor
    EXPECT_EQ(cursorAt(), 2);
    add.selectWheel(6);
    add.typeKey(1);
    EXPECT_EQ(add.value(0), 38701);
    add.saveAction();
    EXPECT_DOUBLE_EQ(value(0, 0), 387.01);

    // On the keypad the same keys work as its buttons do.
    app_.settings().set("keyboard", true);
    AddViewController keypad(app_, nav_, 0, -1);
    keypad.clear();
    for (int d : {4, 2})
        keypad.typeKey(d);
    keypad.backspaceKey();
    keypad.typeKey(7);
    EXPECT_EQ(keypad.value(0), 47);
}

TEST_F(ReadingEntry, AddingToEveryMeterWithNextMeter) {
    RootViewController root(app_, nav_);
    EXPECT_EQ(detailOf(root.sections(0), "Readings"), "None");
    app_.settings().set("keyboard", true);
    AddViewController add(app_, nav_, 0);
    add.dateAction(at("2026-11-20T08:00:00Z"));
    for (int d : {1, 0, 0, 0, 5})
        add.typeDigit(d);
    add.saveAction();
    ASSERT_EQ(nav_.alerts.size(), 1u);
    EXPECT_EQ(nav_.alerts[0].title, "Reading Saved");
    EXPECT_EQ(nav_.alerts[0].buttons, (std::vector<std::string>{"Done", "Next Meter"}));
    add.answerAlert(AddViewController::kSavedTag, 1);
    EXPECT_EQ(add.meterIndex(), 1);
    EXPECT_EQ(add.title(), "Gas");
    EXPECT_EQ(add.date(), at("2026-11-20T08:00:00Z"));  // read at about the same time
    add.typeDigit(7);
    add.saveAction();
    add.answerAlert(AddViewController::kSavedTag, 1);
    add.typeDigit(3);
    add.saveAction();
    add.answerAlert(AddViewController::kSavedTag, 1);
    EXPECT_EQ(add.meterIndex(), 0);  // wrapped to the first meter
    EXPECT_EQ(add.value(0), 10005);  // starts from the newest reading
    add.answerAlert(AddViewController::kSavedTag, 0);
    EXPECT_EQ(nav_.dismissals, 1);
    EXPECT_EQ(readings(0), 1u);
    EXPECT_EQ(readings(1), 1u);
    EXPECT_EQ(readings(2), 1u);
    EXPECT_DOUBLE_EQ(value(0, 0), 1000.5);
    EXPECT_DOUBLE_EQ(value(2, 0), 0.3);
    EXPECT_EQ(detailOf(root.sections(0), "Readings"), "20 Nov 2026, 08:00");
    EXPECT_EQ(root.sections(0).size(), 1u);  // one reading: no graph yet
    EXPECT_EQ(root.sections(0)[0].footer,
              "Add 2 or more readings to see graphs of usage and cost for the selected period");
}

TEST_F(ReadingEntry, SavingKeepsDateOrderAndEditsMove) {
    auto add = [&](const char* when, double v, bool bill = false) {
        AddViewController a(app_, nav_, 0);
        a.dateAction(at(when));
        a.clear();
        for (char c : std::to_string(static_cast<long>(v * 10)))
            a.typeDigit(c - '0');
        if (bill) a.flipSwitch(2, true);
        a.saveAction();
    };
    app_.settings().set("next", false);
    add("2026-11-01T08:00:00Z", 100);
    add("2026-11-20T08:00:00Z", 300, true);
    add("2026-11-10T08:00:00Z", 200);  // between the two
    ASSERT_EQ(readings(0), 3u);
    EXPECT_DOUBLE_EQ(value(0, 0), 300);
    EXPECT_DOUBLE_EQ(value(0, 1), 200);
    EXPECT_DOUBLE_EQ(value(0, 2), 100);
    EXPECT_TRUE(boolOf(meter(0).find("readings")->array()[0], "ticked"));
    EXPECT_EQ(nav_.dismissals, 3);  // "next" is off: every save closes

    RootViewController root(app_, nav_);
    EXPECT_EQ(detailOf(root.sections(0), "Change"), "∆ 100.0 kWh, £0.00");

    // Edit the oldest into first place.
    AddViewController edit(app_, nav_, 0, 2);
    EXPECT_EQ(edit.value(0), 1000);
    edit.dateAction(at("2026-11-21T08:00:00Z"));
    edit.clear();
    for (int d : {4, 0, 0, 0})
        edit.typeDigit(d);
    edit.flipSwitch(3, true);
    edit.saveAction();
    ASSERT_EQ(readings(0), 3u);
    EXPECT_DOUBLE_EQ(value(0, 0), 400);
    EXPECT_TRUE(boolOf(meter(0).find("readings")->array()[0], "new"));
    EXPECT_DOUBLE_EQ(value(0, 1), 300);
    EXPECT_DOUBLE_EQ(value(0, 2), 200);
    EXPECT_EQ(nav_.alerts.size(), 0u);  // an edit never offers the next meter
    // A new meter: no usage across the change.
    EXPECT_EQ(detailOf(root.sections(0), "Change"), "∆ 0.0 kWh, £0.00");

    // Delete the newest through the document: the rows follow.
    meter(0).find("readings")->array().erase(meter(0).find("readings")->array().begin());
    EXPECT_EQ(detailOf(root.sections(0), "Readings"), "20 Nov 2026, 08:00");
    EXPECT_EQ(detailOf(root.sections(0), "Change"), "∆ 100.0 kWh, £0.00");
}

TEST_F(ReadingEntry, DateRowModesAndTheTip) {
    AddViewController add(app_, nav_, 0);
    EXPECT_EQ(add.dateMode(), AddViewController::DateMode::Hidden);
    add.selectRow(0, 0);
    EXPECT_EQ(add.dateMode(), AddViewController::DateMode::DateAndTime);
    add.dateAction(at("2026-01-01T00:00:00Z"));  // more than 100 days from now
    ASSERT_EQ(nav_.alerts.size(), 1u);
    EXPECT_EQ(nav_.alerts[0].title, "Date Tip");
    add.dateAction(at("2025-01-01T00:00:00Z"));
    EXPECT_EQ(nav_.alerts.size(), 1u);  // once per screen
    add.selectRow(0, 0);
    EXPECT_EQ(add.dateMode(), AddViewController::DateMode::DateOnly);
    add.selectRow(0, 1);
    EXPECT_EQ(add.dateMode(), AddViewController::DateMode::Hidden);
}

TEST_F(ReadingEntry, RegisterChooser) {
    meter(0).set("enabled", 2);
    meter(0).set("economy7", 1);
    AddViewController add(app_, nav_, 0);
    EXPECT_EQ(add.registerChoices(), (std::vector<std::string>{"Night", "Day"}));
    std::vector<Section> sections = add.sections();
    const Row* reading = findRow(sections, "Reading");
    EXPECT_EQ(reading->accessory, Accessory::Segments);
    add.chooseSegment(1, 1);
    add.typeDigit(5);
    EXPECT_EQ(add.value(1), 5);
    EXPECT_EQ(add.value(0), 0);
    add.chooseSegment(1, 7);  // no such register
    EXPECT_EQ(add.selectedRegister(), 1);
    app_.settings().set("next", false);
    add.saveAction();
    EXPECT_DOUBLE_EQ(value(0, 0, 1), 0.5);
    // A one-meter document never offers the next meter.
    metersOf(app_.settings())->resize(1);
    app_.settings().set("next", true);
    AddViewController alone(app_, nav_, 0);
    alone.saveAction();
    EXPECT_TRUE(nav_.alerts.empty());
}

}  // namespace
}  // namespace numbrel
