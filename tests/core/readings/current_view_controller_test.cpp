#include "readings/current_view_controller.h"

#include <gtest/gtest.h>

#include "store/app_delegate.h"
#include "store/document.h"
#include "support/app_fixture.h"
#include "support/test_support.h"

namespace numbrel {
namespace {

using test::at;

class CurrentPeriod : public test::AppFixture {
protected:
    CurrentPeriod() {
        Value& m = meter();
        m.find("readings")->array() = {Value::makeDictionary({{"date", at("2026-11-11T08:00:00Z")},
                                                              {"reading", Value(Array{150.0, 30.0, 7.0})}}),
                                       Value::makeDictionary({{"date", at("2026-11-01T08:00:00Z")},
                                                              {"reading", Value(Array{100.0, 20.0, 5.0})}})};
        for (Value& t : m.find("tariffs")->array())
            t.find("rates")->array()[0].set("rate", 0.1);
    }
    std::vector<std::string> labels(const Section& s) {
        std::vector<std::string> out;
        for (const Row& r : s.rows)
            out.push_back(r.label);
        return out;
    }
};

TEST_F(CurrentPeriod, OneRegister) {
    CurrentViewController screen(app_, 0, 2, std::nullopt, std::nullopt);
    auto s = screen.sections();
    ASSERT_EQ(s.size(), 4u);
    EXPECT_EQ(s[0].rows[0].label, "Month");
    EXPECT_EQ(s[0].rows[0].detail, "?");
    EXPECT_EQ(detailOf(s, "Days"), "10.00");
    EXPECT_EQ(labels(s[2]), (std::vector<std::string>{"Usage", "Fixed Rates", "Discounts", "Total"}));
    EXPECT_EQ(detailOf(s, "Total"), "50.0 kWh, £5.00");
    EXPECT_EQ(detailOf(s, "Discounts"), "£0.00");
    EXPECT_EQ(detailOf(s, "Per Month"), "152.1 kWh, £15.21");  // 5 a day x 30.41666
    EXPECT_EQ(detailOf(s, "Per Year"), "1825.0 kWh, £182.50");
}

TEST_F(CurrentPeriod, RegistersFixedChargesAndDiscounts) {
    meter().set("enabled", 3);
    meter().set("fixed", 1.0);
    meter().set("discount", 0.5);
    meter().set("tax", 10.0);
    CurrentViewController screen(app_, 0, 0, 12.5, 3.0);
    auto s = screen.sections();
    EXPECT_EQ(s[0].rows[0].detail, "12.5 kWh, £3.00");
    EXPECT_EQ(labels(s[2]),
              (std::vector<std::string>{"R1", "R2", "R3", "Fixed Rates", "Discounts", "Total"}));
    EXPECT_EQ(detailOf(s, "R2"), "10.0 kWh, £1.10");
    EXPECT_EQ(detailOf(s, "Fixed Rates"), "£11.00");
    // Parts: 11 fixed + (5 + 1 + 0.2) x 1.1 units; total: (10 + 6.2 - 5) x 1.1 = 12.32; the gap is the
    // discount with its tax.
    EXPECT_EQ(detailOf(s, "Discounts"), "£5.50");
    meter().set("enabled", 2);
    meter().set("economy7", 2);
    EXPECT_EQ(labels(CurrentViewController(app_, 0, 0, std::nullopt, 1.0).sections()[2])[0], "Day");
    EXPECT_EQ(CurrentViewController(app_, 0, 4, std::nullopt, 1.0).sections()[0].rows[0].detail, "£1.00");
    EXPECT_EQ(CurrentViewController(app_, 0, 4, 2.0, std::nullopt).sections()[0].rows[0].detail, "2.0 kWh");
}

TEST_F(CurrentPeriod, FewerThanTwoReadings) {
    meter().find("readings")->array().resize(1);
    auto s = CurrentViewController(app_, 0, 0, std::nullopt, std::nullopt).sections();
    ASSERT_EQ(s.size(), 1u);
    ASSERT_EQ(s[0].rows.size(), 1u);
    EXPECT_FALSE(s[0].rows[0].selectable);
    EXPECT_TRUE(CurrentViewController(app_, 7, 0, std::nullopt, std::nullopt).sections().empty());
}

}  // namespace
}  // namespace numbrel
