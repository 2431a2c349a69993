#include "main/root_view_controller.h"

#include <gtest/gtest.h>

#include "settings/tour.h"
#include "store/app_delegate.h"
#include "store/document.h"
#include "support/app_fixture.h"
#include "support/fake_navigator.h"
#include "support/test_support.h"

namespace numbrel {
namespace {

using test::at;

class MainScreen : public test::AppFixture {
protected:
    void addReading(int m, const char* when, double v) {
        meter(m)
            .find("readings")
            ->array()
            .insert(meter(m).find("readings")->array().begin(),
                    Value::makeDictionary({{"date", at(when)}, {"reading", Value(Array{v, 0.0, 0.0})}}));
    }
    test::FakeNavigator nav_;
};

TEST_F(MainScreen, ToolbarSegmentsAndTheirRules) {
    RootViewController root(app_, nav_, dir_.path().string());
    auto bar = root.toolbar();
    ASSERT_EQ(bar.size(), 1u);  // one register, upright: periods only
    EXPECT_EQ(bar[0].tag, 2);
    EXPECT_EQ(bar[0].items, (std::vector<std::string>{" D ", " W ", " M ", " Q ", " Y "}));
    meter(0).set("enabled", 2);
    meter(0).set("economy7", 1);
    EXPECT_EQ(root.toolbar()[0].items, (std::vector<std::string>{" Σ ", " N ", " D "}));
    meter(0).set("enabled", 3);
    EXPECT_EQ(root.toolbar()[0].items.size(), 4u);

    app_.settings().set("landscape", true);
    root.setWindowSize(844, 390);
    ASSERT_TRUE(root.landscape());
    bar = root.toolbar();
    ASSERT_EQ(bar.back().tag, 3);
    EXPECT_EQ(bar.back().items.back(), " Max ");
    EXPECT_EQ(bar.back().selected, 3);  // range 2, one year
    root.segmentAction(3, 2);           // six months
    EXPECT_EQ(root.rangeIndex(), 3);
    root.segmentAction(2, 4);  // yearly with six months: one year
    EXPECT_EQ(root.rangeIndex(), 2);
    root.segmentAction(3, 0);  // one month turns yearly into monthly
    EXPECT_EQ(root.period(), Period::Monthly);
    root.segmentAction(2, 3);  // quarterly with one month: three months
    EXPECT_EQ(root.rangeIndex(), 4);
    root.setWindowSize(390, 844);
    EXPECT_FALSE(root.landscape());
}

TEST_F(MainScreen, PagesRowsAndGraphs) {
    RootViewController root(app_, nav_, dir_.path().string());
    EXPECT_EQ(root.numberOfPages(), 3);
    addReading(0, "2026-11-01T08:00:00Z", 100);
    addReading(0, "2026-11-11T08:00:00Z", 150);
    auto sections = root.sections(0);
    ASSERT_EQ(sections.size(), 2u);  // phone: the rows, then the graph
    ASSERT_EQ(sections[0].rows.size(), 3u);
    EXPECT_EQ(sections[0].rows[1].detail, "∆ 50.0 kWh, £0.00");
    EXPECT_EQ(sections[1].rows[0].detail, "usage");
    root.graphAction();
    EXPECT_EQ(root.sections(0)[1].rows[0].detail, "cost");
    meter(0).set("code", "-");
    EXPECT_EQ(root.sections(0)[1].rows[0].detail, "usage");  // no costs, no cost graph
    EXPECT_EQ(root.sections(0)[0].rows[1].detail, "∆ 50.0 kWh");
    root.graphAction();
    EXPECT_TRUE(boolOf(app_.settings(), "graph"));  // unchanged: nothing to flip to

    root.averageAction(0, 12, 10, false);
    EXPECT_EQ(root.sections(0)[0].rows[2].detail, "12.0 kWh  ▲ 2.0 kWh");
    root.averageAction(0, 8, 10, false);
    EXPECT_EQ(root.sections(0)[0].rows[2].detail, "8.0 kWh  ▼ 2.0 kWh");

    meter(0).set("code", "GBP");
    root.setWindowSize(1024, 768);  // a tablet shows usage and cost
    sections = root.sections(0);
    ASSERT_EQ(sections.size(), 4u);
    EXPECT_EQ(sections[1].rows.size(), 2u);
    auto graphs = root.graphs(0);
    ASSERT_EQ(graphs.size(), 2u);
    EXPECT_FALSE(graphs[0].cost);
    EXPECT_TRUE(graphs[1].cost);
    EXPECT_EQ(graphs[0].request.maxPoints, 365);

    root.pageAction(2);
    EXPECT_EQ(integerOf(app_.settings(), "meter"), 2);
    EXPECT_TRUE(root.holdsGraphs(1));
    EXPECT_FALSE(root.holdsGraphs(0));
}

TEST_F(MainScreen, TheTourRunsItsStepsAndCancellingEndsIt) {
    RootViewController root(app_, nav_, dir_.path().string());
    root.appearAction();  // "tour" is on at first start
    ASSERT_EQ(nav_.alerts.size(), 1u);
    EXPECT_EQ(nav_.alerts[0].tag, 100);
    EXPECT_EQ(nav_.alerts[0].title, "Getting Started");
    root.appearAction();  // shown again while the tour runs: no second start
    EXPECT_EQ(nav_.alerts.size(), 1u);
    for (int tag = 100; tag < 108; ++tag) {
        ASSERT_EQ(nav_.alerts.back().buttons, (std::vector<std::string>{"Cancel", "Next"}));
        root.answerAlert(tag, 1);
        EXPECT_EQ(nav_.alerts.back().tag, tag + 1);
    }
    EXPECT_EQ(nav_.alerts[5].title, "Graph Colours");  // en_GB: pounds
    EXPECT_EQ(nav_.alerts.back().title, "End of Tour");
    EXPECT_EQ(nav_.alerts.back().buttons, (std::vector<std::string>{"OK"}));
    EXPECT_TRUE(boolOf(app_.settings(), "tour"));
    root.answerAlert(108, 0);
    EXPECT_FALSE(boolOf(app_.settings(), "tour"));

    // Started again from the settings, and cancelled at the third step: it does not come back.
    app_.settings().set("tour", true);
    root.appearAction();
    root.answerAlert(100, 1);
    root.answerAlert(101, 1);
    root.answerAlert(102, 0);
    EXPECT_FALSE(boolOf(app_.settings(), "tour"));
    const std::size_t shown = nav_.alerts.size();
    root.appearAction();
    EXPECT_EQ(nav_.alerts.size(), shown);
}

TEST(Tour, ColorsWhereTheCurrencyIsTheDollar) {
    Environment us("en_US", "America/New_York", fixedClock(at("2026-11-22T12:00:00Z")));
    Environment gb("en_GB", "Europe/London", fixedClock(at("2026-11-22T12:00:00Z")));
    EXPECT_EQ(tourAlert(105, us)->title, "Graph Colors");
    EXPECT_EQ(tourAlert(105, gb)->title, "Graph Colours");
    EXPECT_EQ(tourAlert(104, us)->title, "Graph Types");
    EXPECT_FALSE(tourAlert(99, us));
    EXPECT_FALSE(tourAlert(109, us));
}

TEST_F(MainScreen, TheReviewQuestionAndItsThreeAnswers) {
    RootViewController root(app_, nav_, dir_.path().string());
    app_.settings().set("tour", false);
    root.appearAction();  // the review date (30 days on) has not come
    EXPECT_TRUE(nav_.alerts.empty());
    app_.settings().set("review", at("2026-11-01T00:00:00Z"));
    root.appearAction();
    ASSERT_EQ(nav_.alerts.size(), 1u);
    EXPECT_EQ(nav_.alerts[0].title, "iTunes Review");
    EXPECT_EQ(nav_.alerts[0].buttons, (std::vector<std::string>{"No Thanks!", "OK", "Remind Me Later"}));

    root.answerAlert(RootViewController::kReviewTag, 2);
    EXPECT_EQ(app_.settings().find("review")->date(), at("2026-11-29T12:00:00Z"));
    nav_.alerts.clear();

    // "OK" without the internet: a warning, and the date is kept.
    app_.settings().set("review", at("2026-11-01T00:00:00Z"));
    nav_.network.online = false;
    root.answerAlert(RootViewController::kReviewTag, 1);
    ASSERT_EQ(nav_.alerts.size(), 1u);
    EXPECT_EQ(nav_.alerts[0].message, "No Internet connectivity");
    EXPECT_EQ(app_.settings().find("review")->date(), at("2026-11-01T00:00:00Z"));
    EXPECT_TRUE(nav_.urls.empty());
    // With it: the review page, and never again.
    nav_.network.online = true;
    root.answerAlert(RootViewController::kReviewTag, 1);
    ASSERT_EQ(nav_.urls.size(), 1u);
    EXPECT_EQ(nav_.urls[0], app_.configuration().value("links.review"));
    EXPECT_EQ(app_.settings().find("review")->date(), kDistantFuture);
    root.answerAlert(RootViewController::kReviewTag, 0);
    EXPECT_EQ(app_.settings().find("review")->date(), kDistantFuture);
}

TEST(ReviewPrompt, RemindMeLaterAsksAgainTheFirstTimeTheScreenIsShownSevenDaysOn) {
    test::TempDir dir;
    PreferencesStore store(dir.file("p.plist"));
    Date now = at("2026-11-22T12:00:00Z");
    NumbrelAppDelegate app(Environment("en_GB", "Europe/London", [&] { return now; }), store);
    app.applicationDidFinishLaunching();
    app.settings().set("tour", false);
    app.settings().set("review", at("2026-11-01T00:00:00Z"));
    test::FakeNavigator nav;
    RootViewController root(app, nav);
    root.appearAction();
    ASSERT_EQ(nav.alerts.size(), 1u);
    root.answerAlert(RootViewController::kReviewTag, 2);
    now = at("2026-11-29T11:59:00Z");
    root.appearAction();
    EXPECT_EQ(nav.alerts.size(), 1u);
    now = at("2026-11-29T12:00:01Z");
    root.appearAction();
    ASSERT_EQ(nav.alerts.size(), 2u);
    EXPECT_EQ(nav.alerts[1].title, "iTunes Review");
}

TEST_F(MainScreen, PageRowsOpenTheirScreensByWhatTheyAre) {
    RootViewController root(app_, nav_, dir_.path().string());
    root.selectPageRow(0, 0, 0);  // Readings, but there are none: nothing opens
    EXPECT_TRUE(nav_.pushed.empty());
    for (const char* when : {"2026-10-01T08:00:00Z", "2026-11-01T08:00:00Z"})
        meter(0)
            .find("readings")
            ->array()
            .insert(meter(0).find("readings")->array().begin(),
                    Value::makeDictionary({{"date", at(when)}, {"reading", Value(Array{100.0, 0.0, 0.0})}}));
    std::vector<Section> s = root.sections(0);
    ASSERT_EQ(s[0].rows[0].action, RootViewController::kReadingsRow);
    ASSERT_EQ(s[0].rows[2].action, RootViewController::kCurrentRow);
    root.selectPageRow(0, 0, 0);
    root.selectPageRow(0, 0, 2);
    root.selectPageRow(0, 0, 1);  // Change: nothing
    ASSERT_EQ(nav_.pushed.size(), 2u);
    EXPECT_EQ(nav_.pushed[0]->title(), "Readings");
    EXPECT_EQ(nav_.pushed[1]->title(), "Current");
    root.settingsAction();
    EXPECT_EQ(nav_.alerts.back().buttons,
              (std::vector<std::string>{"Backups", "Settings and Help", "User Guide", "Cancel"}));
    root.answerAlert(RootViewController::kSettingsSheetTag, 0);
    EXPECT_EQ(nav_.pushed.back()->title(), "Backups");
    root.answerAlert(RootViewController::kSettingsSheetTag, 1);
    EXPECT_EQ(nav_.pushed.back()->title(), "Settings");
    root.answerAlert(RootViewController::kSettingsSheetTag, 2);
    EXPECT_EQ(nav_.pushed.back()->title(), "User Guide");
    nav_.network.online = false;
    root.answerAlert(RootViewController::kSettingsSheetTag, 2);
    EXPECT_EQ(nav_.pushed.size(), 5u);
    EXPECT_EQ(nav_.alerts.back().message, "No Internet connectivity");
}

TEST_F(MainScreen, LatestBackupLine) {
    EXPECT_EQ(latestBackupLine(dir_.path().string(), app_.environment()), "No Backups Found!");
    for (const char* name : {"nb20140305@071502.bak", "NB20150101@000000.bak", "nb19991231@000000.bak",
                             "nb2014030@0715022.bak", "readings.csv"})
        test::writeFile(dir_.file(name), "x");
    // "NB2015…" sorts first but does not begin with "nb"; 1999 is before 2001.
    EXPECT_EQ(latestBackupLine(dir_.path().string(), app_.environment()), "Latest Backup: 05/03/2014");
    RootViewController root(app_, nav_, dir_.path().string());
    Alert sheet = root.settingsSheet(dir_.path().string());
    EXPECT_TRUE(sheet.actionSheet);
    EXPECT_EQ(sheet.title, "Latest Backup: 05/03/2014");
}

}  // namespace
}  // namespace numbrel
