#include "main/graph_layout.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>

#include "costs/formatter.h"
#include "support/test_support.h"

namespace numbrel {
namespace {

// Compares text with tests/data/graph/<name>.expected.txt; on a mismatch writes <name>.actual beside
// it. NUMBREL_UPDATE_GOLDEN=1 rewrites the expected files.
void expectGolden(const std::string& name, const std::string& text) {
    std::string expected = test::dataPath("graph/" + name + ".expected.txt");
    if (std::getenv("NUMBREL_UPDATE_GOLDEN")) test::writeFile(expected, text);
    std::string want = test::readFile(expected);
    if (want != text) {
        test::writeFile(test::dataPath("graph/" + name + ".actual"), text);
        ADD_FAILURE() << name << ": the display list differs from " << expected << "; see " << name
                      << ".actual (diff them)";
    }
}

class LayoutTest : public ::testing::Test {
protected:
    LayoutTest() : env_(test::pinnedEnvironment()), formatter_(env_) {}

    GraphLayout layout(const GraphSeries& s, LayoutRequest r) {
        return layoutGraph(s, meter_, r, formatter_, env_, measurer_);
    }

    static GraphSeries series(std::vector<double> points, int shown, bool bars) {
        GraphSeries s;
        s.points = std::move(points);
        s.shown = shown;
        s.bars = bars;
        s.current = s.points.empty() ? 0 : s.points[0];
        s.minimum = *std::min_element(s.points.begin(), s.points.end());
        s.maximum = *std::max_element(s.points.begin(), s.points.end());
        s.lowerBound = bars && s.minimum > 0 ? 0 : s.minimum;
        s.labelPrecision = 1;
        s.day = 20, s.month = 11, s.year = 2026, s.weekday = 6;  // Friday 20 November 2026
        return s;
    }

    Environment env_;
    Formatter formatter_;
    FixedAdvanceMeasurer measurer_;
    Value meter_ = Value::makeDictionary({{"name", "Electricity"},
                                          {"type", "Electricity"},
                                          {"units", "kWh"},
                                          {"code", "GBP"},
                                          {"precision", 1},
                                          {"digits", 5}});
};

TEST_F(LayoutTest, MonthlyBarsWithThePreviousYear) {
    GraphSeries s = series({200, 300, 250, 220, 190, 180, 210, 260, 240, 230, 200, 170}, 6, true);
    LayoutRequest r;
    r.period = Period::Monthly;
    r.average = 225;
    GraphLayout g = layout(s, r);
    EXPECT_FALSE(g.held);
    EXPECT_EQ(g.current, 200);
    expectGolden("monthly-bars-previous-year", describeDisplayList(g.list));
}

TEST_F(LayoutTest, DailyLinesWithThePreviousYear) {
    std::vector<double> points;
    for (int i = 0; i < 60; ++i)
        points.push_back(10 + 5 * std::sin(i / 5.0));
    for (int i = 0; i < 60; ++i)
        points.push_back(8 + 4 * std::cos(i / 7.0));
    GraphSeries s = series(points, 60, false);
    s.months = {20, 50};
    LayoutRequest r;
    r.period = Period::Daily;
    r.theme = 3;
    r.average = 10;
    expectGolden("daily-lines-previous-year", describeDisplayList(layout(s, r).list));
}

TEST_F(LayoutTest, AFlatSeriesLiesOnTheBaseline) {
    GraphSeries s = series({5, 5, 5, 5}, 4, false);
    s.lowerBound = 5;
    LayoutRequest r;
    r.period = Period::Quarterly;
    GraphLayout g = layout(s, r);
    int lines = 0;
    for (const DisplayItem& item : g.list.items) {
        const auto* p = std::get_if<Polyline>(&item);
        if (!p) continue;
        ++lines;
        for (const Point& pt : p->points)
            EXPECT_EQ(pt.y, r.height - 20 - 1);
    }
    EXPECT_EQ(lines, 1);
    expectGolden("flat-series", describeDisplayList(g.list));
}

TEST_F(LayoutTest, HeldPointsAtBothEdges) {
    GraphSeries s = series({4, 6, 5, 7, 3, 5, 4, 2, 6, 5, 5, 4, 3, 5}, 7, true);
    LayoutRequest r;
    r.period = Period::Daily;
    r.holdX = -20;  // left of the plot counts as its left edge: the oldest shown point
    GraphLayout left = layout(s, r);
    ASSERT_TRUE(left.held);
    EXPECT_EQ(*left.held, 0);
    r.holdX = r.width;
    GraphLayout right = layout(s, r);
    ASSERT_TRUE(right.held);
    EXPECT_EQ(*right.held, 6);
    expectGolden("held-left", describeDisplayList(left.list));
    expectGolden("held-right", describeDisplayList(right.list));
}

TEST_F(LayoutTest, HeldTextCarriesThePreviousYearChange) {
    GraphSeries s = series({12, 10, 0, 8}, 2, true);
    LayoutRequest r;
    r.period = Period::Yearly;
    r.holdX = 1000;
    auto title = [&](const GraphLayout& g) {
        for (const DisplayItem& item : g.list.items)
            if (auto* t = std::get_if<Text>(&item); t && t->box.y == 8) return t->text;
        return std::string();
    };
    r.holdX = 0;
    EXPECT_EQ(title(layout(s, r)), "2026: 12.0 (0.0, +0.0%)");  // a previous value of 0 gives no change
    s.points = {12, 10, 8, 5};
    EXPECT_EQ(title(layout(s, r)), "2026: 12.0 (8.0, +50.0%)");
    r.width = 200;  // too narrow for the change: dropped
    EXPECT_EQ(title(layout(s, r)), "2026: 12.0 (8.0)");
    r.holdX.reset();
    EXPECT_EQ(title(layout(s, r)), "Yearly Usage (kWh)");
    r.cost = true;
    EXPECT_EQ(title(layout(s, r)), "Yearly Cost (£)");
    meter_.set("type", "Solar");
    EXPECT_EQ(title(layout(s, r)), "Yearly Credit (£)");
}

TEST_F(LayoutTest, DailyBarsUseOneLetterWeekdaysBeyondSeven) {
    GraphSeries s = series({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14}, 14, true);
    LayoutRequest r;
    r.period = Period::Daily;
    GraphLayout g = layout(s, r);
    std::vector<std::string> labels;
    for (const DisplayItem& item : g.list.items)
        if (auto* t = std::get_if<Text>(&item); t && t->box.y == r.height - 20 + 1) labels.push_back(t->text);
    ASSERT_EQ(labels.size(), 14u);
    EXPECT_EQ(labels.back(), "F");  // the newest, a Friday, on the right
    EXPECT_EQ(labels.front(), "S");
}

TEST_F(LayoutTest, ComparisonThemeColoursEachBar) {
    GraphSeries s = series({5, 10, 8, 8}, 2, true);  // newest 5 against 8 (better), then 10 against 8
    LayoutRequest r;
    r.period = Period::Yearly;
    std::vector<Color> colors;
    for (const DisplayItem& item : layout(s, r).list.items)
        if (auto* f = std::get_if<FillRect>(&item); f && !(f->color == Color::gray(1)))
            colors.push_back(f->color);
    ASSERT_EQ(colors.size(), 2u);
    EXPECT_EQ(colors[0], (Color{1.0, 0.2314, 0.1882}));  // 10 > 8: red
    EXPECT_EQ(colors[1], (Color{0.2588, 0.8039, 0.0}));  // 5 <= 8: green
    meter_.set("type", "Wind");                          // for generation, more is better
    colors.clear();
    for (const DisplayItem& item : layout(s, r).list.items)
        if (auto* f = std::get_if<FillRect>(&item); f && !(f->color == Color::gray(1)))
            colors.push_back(f->color);
    EXPECT_EQ(colors[0], (Color{0.2588, 0.8039, 0.0}));
}

}  // namespace
}  // namespace numbrel
