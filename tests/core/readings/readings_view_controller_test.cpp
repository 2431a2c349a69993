#include "readings/readings_view_controller.h"

#include <gtest/gtest.h>

#include "store/app_delegate.h"
#include "store/document.h"
#include "support/app_fixture.h"
#include "support/fake_navigator.h"
#include "support/test_support.h"

namespace numbrel {
namespace {

using test::at;

class ReadingsList : public test::AppFixture {
protected:
    void add(const char* when, double v, bool bill = false) {
        Value r = Value::makeDictionary({{"date", at(when)}, {"reading", Value(Array{v, 0.0, 0.0})}});
        if (bill) r.set("ticked", true);
        Array& readings = meter().find("readings")->array();
        readings.push_back(std::move(r));  // callers add newest first
    }
    test::FakeNavigator nav_;
};

TEST_F(ReadingsList, SectionsByMonthAcrossYears) {
    ReadingsViewController list(app_, nav_, 0);
    ASSERT_EQ(list.readingSections().size(), 1u);  // an empty meter: one empty section
    EXPECT_TRUE(list.readingSections()[0].rows.empty());
    add("2026-03-10T08:00:00Z", 300);
    add("2026-03-01T08:00:00Z", 200);
    add("2025-03-20T08:00:00Z", 100);
    auto sections = list.readingSections();
    ASSERT_EQ(sections.size(), 2u);  // the same month in two years: two sections
    EXPECT_EQ(sections[0].title, "March 2026");
    EXPECT_EQ(sections[1].title, "March 2025");
    EXPECT_EQ(sections[0].rows[0].date, "Tue 10, 08:00");
    EXPECT_EQ(sections[0].rows[0].registers, std::vector<std::string>{"00300.0"});
    EXPECT_EQ(sections[0].rows[0].usage, "100.0 kWh");  // the whole interval
    EXPECT_EQ(sections[1].rows[0].usage, "");           // the oldest closes no interval
    list.periodAction(1);
    EXPECT_EQ(list.readingSections()[0].rows[0].usage, "11.1 kWh");  // per day over 9 days
    list.periodAction(3);
    EXPECT_EQ(list.readingSections()[0].rows[0].usage, "338.0 kWh");  // x 365/12
}

TEST_F(ReadingsList, BillFigures) {
    ReadingsViewController list(app_, nav_, 0);
    list.answerUsageSheet(0);
    ASSERT_EQ(nav_.alerts.size(), 1u);
    EXPECT_EQ(nav_.alerts[0].message,
              "Identify your last bill by editing the readings you submitted to your supplier");
    add("2026-03-31T08:00:00Z", 400);
    add("2026-03-01T08:00:00Z", 300, true);
    add("2026-01-30T08:00:00Z", 200, true);
    Alert sheet = list.usageSheet();
    EXPECT_EQ(sheet.title, "Usage and Cost");
    EXPECT_EQ(sheet.buttons[2], "Between Bills");
    list.answerUsageSheet(0);
    EXPECT_EQ(nav_.alerts.back().title, "Since Last Bill");
    EXPECT_EQ(nav_.alerts.back().message, "100.0 kWh, £0.00\n30.0 days\nor\n3.3 kWh, £0.00/day");
    // 30 days since the bill, a billing interval of 30 days: overdue (less than or equal).
    list.answerUsageSheet(1);
    EXPECT_EQ(nav_.alerts.back().message, "Based on your last two bills, your next bill is overdue");
    meter().find("readings")->array()[0].set("date", at("2026-03-21T08:00:00Z"));
    list.answerUsageSheet(1);
    EXPECT_EQ(nav_.alerts.back().message,
              "Expected on 31/03/2026\n150.0 kWh, £0.00\n30.0 days\nor\n5.0 kWh, £0.00/day");
    // Bills mode: bills only, intervals between bills; "Between Readings" leaves it.
    list.answerUsageSheet(2);
    EXPECT_TRUE(list.bills());
    EXPECT_EQ(list.title(), "Bills");
    auto sections = list.readingSections();
    EXPECT_EQ(sections[0].rows.size(), 1u);
    EXPECT_EQ(sections[0].rows[0].usage, "100.0 kWh");
    EXPECT_TRUE(sections[0].rows[0].bill);
    EXPECT_EQ(list.usageSheet().buttons[2], "Between Readings");
    list.answerUsageSheet(2);
    EXPECT_FALSE(list.bills());
}

TEST_F(ReadingsList, DeletingTheLastReadingClosesTheList) {
    add("2026-03-01T08:00:00Z", 300);
    add("2026-02-01T08:00:00Z", 200);
    ReadingsViewController list(app_, nav_, 0);
    list.deleteReading(0);
    EXPECT_EQ(nav_.pops, 0);
    list.deleteReading(5);  // no such reading
    list.deleteReading(0);
    EXPECT_EQ(nav_.pops, 1);
}

TEST_F(ReadingsList, TheExportByMailNeedsTheInternetAndCarriesTheFile) {
    add("2026-03-10T08:00:00Z", 300);
    add("2026-03-01T08:00:00Z", 200);
    ReadingsViewController list(app_, nav_, 0);
    nav_.mailer = true;
    nav_.network.online = false;
    list.exportReadings(false);
    EXPECT_EQ(nav_.alerts.back(), noInternetAlert());
    EXPECT_TRUE(nav_.mails.empty());
    nav_.network.online = true;
    app_.settings().set("email", "me@example.org");
    list.exportReadings(false);
    ASSERT_EQ(nav_.mails.size(), 1u);
    EXPECT_EQ(nav_.mails[0].to, "me@example.org");
    EXPECT_EQ(nav_.mails[0].subject, "Electricity Numbrel");
    EXPECT_FALSE(nav_.mails[0].html);
    EXPECT_NE(test::readFile(nav_.mails[0].attachmentPath)
                  .find("\"Electricity\",\"10/03/2026, 08:00:00\",\"300.0\""),
              std::string::npos);
}

}  // namespace
}  // namespace numbrel
