#include "costs/tariff_view_controller.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "main/meters_view_controller.h"
#include "support/app_fixture.h"
#include "support/fake_navigator.h"

namespace numbrel {
namespace {

using test::at;

class TariffEditor : public test::AppFixture {
protected:
    std::vector<std::string> labels(const Section& s) {
        std::vector<std::string> out;
        for (const Row& r : s.rows)
            out.push_back(r.label);
        return out;
    }
    test::FakeNavigator nav_;
};

TEST_F(TariffEditor, SectionsFollowTheMeter) {
    TariffViewController editor(app_, nav_, 0);
    EXPECT_EQ(editor.title(), "Electricity");
    auto s = editor.sections();
    ASSERT_EQ(s.size(), 6u);  // meter, units, fixed, one register, discounts, previous rates
    EXPECT_EQ(labels(s[0]), (std::vector<std::string>{"Name", "Type", "Format/Direction", "Currency",
                                                      "Postcode", "House/Flat", "Notes"}));  // GBP
    EXPECT_EQ(s[0].footer, "Change the meter type for things like Solar and Economy 7");
    EXPECT_EQ(s[3].header, "Per Unit Rates");
    EXPECT_EQ(labels(s[3]), (std::vector<std::string>{"Rate", "Stepped", "Monthly"}));
    EXPECT_EQ(s[3].rows[1].tag, 31);
    EXPECT_EQ(labels(s[5]), std::vector<std::string>{"Add rate change"});
    meter().set("code", "EUR");
    EXPECT_EQ(editor.sections()[0].rows[4].label, "Notes");
    app_.settings().set("tips", false);
    EXPECT_EQ(editor.sections()[0].footer, "");

    meter().set("enabled", 2);
    meter().set("economy7", 1);
    s = editor.sections();
    EXPECT_EQ(s[0].rows[1].detail, "Electricity (Night+Day)");
    EXPECT_EQ(s[3].header, "Per Unit Rates, Night");
    EXPECT_EQ(s[4].header, "Per Unit Rates, Day");
    {
        test::InLanguage german("de");
        s = editor.sections();
        EXPECT_EQ(s[0].rows[1].label, "Typ");
        EXPECT_EQ(s[0].rows[1].detail, "Strom (Nacht+Tag)");  // the stored type is shown in the language
        meter().set("economy7", 0);
        meter().set("minus", 2);
        EXPECT_EQ(editor.sections()[0].rows[1].detail, "Strom (Z1-Z2)");
    }
    EXPECT_EQ(editor.sections()[0].rows[1].detail, "Electricity (R1-R2)");
}

TEST_F(TariffEditor, SteppedAndMonthlyRows) {
    TariffViewController editor(app_, nav_, 0);
    editor.flipSwitch(31, true);  // stepped, first step "all"
    auto s = editor.sections();
    EXPECT_EQ(labels(s[3]), (std::vector<std::string>{"Initial units", "Rate", "Stepped", "Monthly"}));
    EXPECT_EQ(s[3].rows[0].detail, "all");
    std::optional<ValueEdit> units = editor.editFor(3, 0);
    ASSERT_TRUE(units);
    EXPECT_EQ(units->period, "day");
    EXPECT_TRUE(units->apply("100", "month"));
    s = editor.sections();
    EXPECT_EQ(labels(s[3]), (std::vector<std::string>{"Initial units", "Rate", "Next units", "Rate",
                                                      "Stepped", "Monthly"}));
    EXPECT_EQ(s[3].rows[0].detail, "100/month");
    EXPECT_EQ(s[3].rows[2].detail, "all remaining");
    ASSERT_TRUE(editor.editFor(3, 3));
    EXPECT_TRUE(editor.editFor(3, 3)->apply("0.125", ""));
    EXPECT_EQ(editor.sections()[3].rows[3].detail, "£0.125");
    EXPECT_FALSE(editor.editFor(3, 3)->apply("lots", ""));

    editor.flipSwitch(30, true);  // monthly and stepped: two prices and twelve allowances
    EXPECT_EQ(editor.sections()[3].rows.size(), 16u);
    editor.flipSwitch(31, false);  // monthly only
    EXPECT_EQ(editor.sections()[3].rows.size(), 14u);
    EXPECT_EQ(editor.sections()[3].rows[0].label, "Jan");
}

TEST_F(TariffEditor, EditsAndRateChanges) {
    TariffViewController editor(app_, nav_, 0);
    auto factor = editor.editFor(1, 1);
    ASSERT_TRUE(factor);
    EXPECT_TRUE(factor->apply("0", ""));
    EXPECT_EQ(realOf(meter(), "factor"), 1.0);  // never zero
    auto fixed = editor.editFor(2, 0);
    EXPECT_EQ(fixed->prompt, "Enter the amount (in £) you are charged per day, week, month, quarter or year");
    EXPECT_TRUE(fixed->apply("30", "month"));
    EXPECT_EQ(stringOf(meter(), "period"), "month");
    // Money may be a credit: the sign button shows "-" and the field the amount.
    ASSERT_TRUE(fixed->allowNegative && fixed->allowFloat);
    EXPECT_TRUE(fixed->apply("-1.5", "day"));
    EXPECT_EQ(realOf(meter(), "fixed"), -1.5);
    fixed = editor.editFor(2, 0);
    EXPECT_TRUE(fixed->negative);
    EXPECT_EQ(fixed->value, "1.5");
    // Units are whole numbers; a percentage is never negative.
    editor.flipSwitch(31, true);
    auto units = editor.editFor(3, 0);
    ASSERT_TRUE(units);
    EXPECT_FALSE(units->allowFloat);
    EXPECT_TRUE(units->apply("250.9", "month"));
    EXPECT_EQ(realOf((*arrayOf((*arrayOf(meter(), "tariffs"))[0], "rates"))[0], "units"), 250.0);
    auto percent = editor.editFor(4, 1);  // "Discount %" under the one register
    ASSERT_TRUE(percent);
    EXPECT_FALSE(percent->allowNegative);
    // The name needs text; the postcode and notes have editors of their own kind.
    EXPECT_TRUE(editor.editFor(0, 0)->required);
    EXPECT_EQ(editor.editFor(0, 4)->kind, EditKind::Postcode);
    EXPECT_EQ(editor.editFor(0, 6)->kind, EditKind::Notes);
    EXPECT_TRUE(editor.editFor(0, 4)->apply("ec1a 1bb", ""));
    EXPECT_EQ(stringOf(meter(), "postcode"), "EC1A 1BB");
    EXPECT_FALSE(editor.editFor(0, 3));  // the currency has a chooser of its own
    editor.selectRow(0, 3);
    ASSERT_EQ(nav_.pushed.size(), 1u);
    Screen& currency = *nav_.pushed[0];
    auto letters = currency.sections();
    EXPECT_EQ(letters.front().header, "-");  // the no-cost marker sorts first
    auto e = std::find_if(letters.begin(), letters.end(), [](const Section& s) { return s.header == "E"; });
    ASSERT_NE(e, letters.end());
    int eur = 0;
    while (e->rows[static_cast<std::size_t>(eur)].label != "EUR")
        ++eur;
    EXPECT_EQ(e->rows[static_cast<std::size_t>(eur)].detail, "€");
    currency.selectRow(static_cast<int>(e - letters.begin()), eur);
    EXPECT_EQ(stringOf(meter(), "code"), "EUR");
    EXPECT_EQ(nav_.pops, 1);
    meter().set("code", "GBP");

    editor.selectRow(5, 0);  // "Add rate change"
    ASSERT_EQ(nav_.alerts.size(), 1u);
    EXPECT_EQ(nav_.alerts[0].title, "Rate Changes");
    editor.answerAlert(TariffViewController::kRateChangeTag, 1);
    auto s = editor.sections();
    EXPECT_EQ(labels(s[5]), (std::vector<std::string>{"Rates to", "Add rate change"}));
    EXPECT_EQ(s[5].rows[0].detail, "23/11/2026");
    editor.doneAction();
    EXPECT_EQ(integerOf(app_.settings(), "meter"), 0);
}

TEST_F(TariffEditor, TheRateChangeScreen) {
    TariffViewController editor(app_, nav_, 0);
    editor.selectRow(5, 0);
    editor.answerAlert(TariffViewController::kRateChangeTag, 1);
    editor.selectRow(5, 0);  // its "Rates to" row
    ASSERT_EQ(nav_.pushed.size(), 1u);
    auto& rates = dynamic_cast<TariffViewController&>(*nav_.pushed[0]);
    EXPECT_EQ(rates.title(), "Rates");
    auto s = rates.sections();
    ASSERT_EQ(s.size(), 4u);  // To, fixed, one register, discounts and tax
    EXPECT_EQ(s[0].rows[0].label, "To");
    EXPECT_EQ(s[0].rows[0].detail, "23/11/2026");
    EXPECT_EQ(s[2].header, "Per Unit Rates");
    EXPECT_EQ(s[2].rows[1].tag, 31);  // the first register's "Stepped", as on the meter's own screen

    // A rate edited here changes the rate change, not the meter.
    ASSERT_TRUE(rates.editFor(2, 0));
    EXPECT_TRUE(rates.editFor(2, 0)->apply("0.5", ""));
    const Value& copy = meter().find("previous")->array()[0];
    EXPECT_EQ(realOf(copy.find("tariffs")->array()[0].find("rates")->array()[0], "rate"), 0.5);
    EXPECT_EQ(realOf(meter().find("tariffs")->array()[0].find("rates")->array()[0], "rate"), 0.0);
    rates.flipSwitch(31, true);
    EXPECT_TRUE(boolOf(copy.find("tariffs")->array()[0], "stepped"));
    EXPECT_FALSE(boolOf(meter().find("tariffs")->array()[0], "stepped"));

    // Its end: the last day charged, stored as the start of the next day.
    auto to = rates.editFor(0, 0);
    ASSERT_TRUE(to);
    EXPECT_EQ(to->value, "2026-11-22");
    EXPECT_TRUE(to->apply("2026-10-31", ""));
    EXPECT_EQ(copy.find("to")->date(), at("2026-11-01T00:00:00Z"));
    EXPECT_FALSE(to->apply("soon", ""));

    rates.deleteAction();
    ASSERT_EQ(nav_.alerts.back().title, "Delete Rates");
    rates.answerAlert(TariffViewController::kDeleteRatesTag, 1);
    EXPECT_FALSE(meter().contains("previous"));  // the only rate change: the key goes
    EXPECT_EQ(nav_.pops, 1);
}

TEST_F(TariffEditor, AnEditorLeftOpenWhileTheDocumentChangesWritesNothing) {
    TariffViewController editor(app_, nav_, 1);
    // The document replaced (a restore) while the fixed charge's editor is open.
    std::optional<ValueEdit> fixed = editor.editFor(2, 0);
    ASSERT_TRUE(fixed && fixed->valid && fixed->valid());
    app_.setSettings(Value(app_.settings()));
    const Value before = app_.settings();
    EXPECT_FALSE(fixed->valid());
    EXPECT_FALSE(fixed->apply("0.75", "day"));
    EXPECT_EQ(app_.settings(), before);
    // A meter deleted while a rate's editor is open: the rate that moved into its place stays.
    MetersViewController meters(app_, nav_);
    std::optional<ValueEdit> rate = TariffViewController(app_, nav_, 2).editFor(3, 0);
    ASSERT_TRUE(rate);
    meters.setEditing(true);
    meters.commitDelete(0, 0);
    EXPECT_FALSE(rate->apply("9", ""));
    EXPECT_EQ(app_.settings().find("settings")->array().size(), 2u);
    EXPECT_NE(
        realOf(*app_.settings().find("settings")->array()[1].find("tariffs")->at(0)->find("rates")->at(0),
               "rate"),
        9.0);
    // An editor opened now writes as before.
    std::optional<ValueEdit> now = TariffViewController(app_, nav_, 0).editFor(2, 0);
    EXPECT_TRUE(now->apply("0.75", "day"));
}

}  // namespace
}  // namespace numbrel
