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

TEST_F(LayoutTest, TheTitleNamesThePeriodAndWhatIsDrawn) {
    GraphSeries s = series({5, 6, 7}, 3, true);
    LayoutRequest r;
    r.period = Period::Weekly;
    EXPECT_EQ(layout(s, r).title, "Weekly Usage (kWh)");
    r.cost = true;
    EXPECT_EQ(layout(s, r).title, "Weekly Cost (£)");
    r.period = Period::Yearly;
    meter_.set("type", "Solar");
    EXPECT_EQ(layout(s, r).title, "Yearly Credit (£)");
    r.cost = false;
    EXPECT_EQ(layout(s, r).title, "Yearly Generation (kWh)");
    {
        test::InLanguage german("de");
        EXPECT_EQ(layout(s, r).title, "Jährliche Erzeugung (kWh)");
        r.period = Period::Quarterly;
        r.cost = true;
        meter_.set("type", "Gas");
        EXPECT_EQ(layout(s, r).title, "Vierteljährliche Kosten (£)");
    }
    s.weight = true;
    r.cost = false;
    meter_.set("units", "kg");
    EXPECT_EQ(layout(s, r).title, "Quarterly Average (kg)");
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

// The title while holding: the text in the box above the plot.
std::string titleOf(const GraphLayout& g) {
    for (const DisplayItem& item : g.list.items)
        if (auto* t = std::get_if<Text>(&item); t && t->box.y == 8) return t->text;
    return {};
}

// The x of the grey held line, or NaN.
double heldLineX(const GraphLayout& g) {
    for (const DisplayItem& item : g.list.items)
        if (auto* l = std::get_if<Line>(&item); l && l->color == Color::gray(0.5) && l->from.x == l->to.x)
            return l->from.x;
    return std::nan("");
}

TEST_F(LayoutTest, HoldingABarShowsThatBarsLabelAndValue) {
    // Six monthly bars, each a different value, with the previous year behind them.
    GraphSeries s = series({60, 50, 40, 30, 20, 10, 5, 5, 5, 5, 5, 5}, 6, true);
    LayoutRequest r;
    r.period = Period::Monthly;
    const double B = r.height - 20;
    GraphLayout plain = layout(s, r);
    // The bars as drawn: each coloured bar, its slot's bottom label and the value its height stands for.
    struct Bar {
        double left, right, value;
        std::string label;
    };
    std::vector<Bar> bars;
    double scale = (B - 28 - 2) / (s.maximum - s.lowerBound);
    for (const DisplayItem& item : plain.list.items)
        if (auto* f = std::get_if<FillRect>(&item);
            f && !(f->color == Color::gray(1)) && f->rect.y > 28 - 1 && f->rect.width < r.width / 2)
            bars.push_back(
                {f->rect.x, f->rect.x + f->rect.width, (B - f->rect.y - 1) / scale + s.lowerBound});
    ASSERT_EQ(bars.size(), 6u);
    for (const DisplayItem& item : plain.list.items)
        if (auto* t = std::get_if<Text>(&item); t && t->box.y == B + 1)
            for (Bar& b : bars)
                if (b.left >= t->box.x && b.right <= t->box.x + t->box.width) b.label = t->text;

    struct Case {
        const char* name;
        double x;
        std::size_t bar;  // from the left
    };
    for (const Case& c :
         {Case{"left of the plot", -20, 0}, Case{"the left edge's bar", bars[0].left, 0},
          Case{"a middle bar", (bars[3].left + bars[3].right) / 2, 3}, Case{"the right edge", r.width, 5}}) {
        SCOPED_TRACE(c.name);
        r.holdX = c.x;
        GraphLayout held = layout(s, r);
        const Bar& bar = bars[c.bar];
        ASSERT_TRUE(held.held);
        EXPECT_EQ(titleOf(held).rfind(bar.label + " 2026: ", 0), 0u) << titleOf(held);
        char value[32];
        std::snprintf(value, sizeof value, ": %.1f (", bar.value);
        EXPECT_NE(titleOf(held).find(value), std::string::npos) << titleOf(held) << " wants" << value;
        double lineX = heldLineX(held);
        EXPECT_GE(lineX, bar.left);
        EXPECT_LE(lineX, bar.right);
    }
    r.holdX = -20;
    expectGolden("held-left", describeDisplayList(layout(s, r).list));
    r.holdX = r.width;
    expectGolden("held-right", describeDisplayList(layout(s, r).list));
}

TEST_F(LayoutTest, HoldingALineShowsThePointUnderTheFinger) {
    // Thirty daily points; the newest (Friday 20 November 2026) is on the right.
    std::vector<double> points;
    for (int i = 0; i < 30; ++i)
        points.push_back(100 + i);
    GraphSeries s = series(points, 30, false);
    LayoutRequest r;
    r.period = Period::Daily;
    std::vector<Point> drawn;
    for (const DisplayItem& item : layout(s, r).list.items)
        if (auto* p = std::get_if<Polyline>(&item)) drawn = p->points;
    ASSERT_EQ(drawn.size(), 30u);
    struct Case {
        const char* name;
        double x;
        const char* title;
    };
    for (const Case& c :
         {Case{"the oldest", drawn[0].x, "Thu 22/10/2026: 129.0 (kWh)"},
          Case{"near the eleventh from the left", drawn[10].x + 2, "Sun 01/11/2026: 119.0 (kWh)"},
          Case{"the newest", drawn[29].x, "Fri 20/11/2026: 100.0 (kWh)"}}) {
        SCOPED_TRACE(c.name);
        r.holdX = c.x;
        GraphLayout held = layout(s, r);
        EXPECT_EQ(titleOf(held), c.title);
    }
    r.holdX = drawn[10].x + 2;
    EXPECT_DOUBLE_EQ(heldLineX(layout(s, r)), drawn[10].x);  // the line stands on the point shown
}

TEST_F(LayoutTest, HeldTextCarriesThePreviousYearChange) {
    GraphSeries s = series({12, 10, 0, 8}, 2, true);
    LayoutRequest r;
    r.period = Period::Yearly;
    r.holdX = 1000;
    auto title = titleOf;
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

TEST_F(LayoutTest, GraphsAboveEachOtherShareTheirPlotsLeftEdge) {
    GraphSeries usage = series({4, 6, 5, 7}, 4, false), cost = series({1234.5, 99, 5, 7}, 4, false);
    LayoutRequest r;
    r.period = Period::Quarterly;
    r.leftMargin = 6;
    double narrow = plotLeft(usage, meter_, r, formatter_, env_, measurer_);
    double wide = plotLeft(cost, meter_, r, formatter_, env_, measurer_);
    EXPECT_LT(narrow, wide);
    r.plotLeft = std::max(narrow, wide);
    for (const GraphSeries* s : {&usage, &cost}) {
        for (const DisplayItem& item : layout(*s, r).list.items) {
            if (auto* g = std::get_if<Gradient>(&item)) EXPECT_EQ(g->rect.x, wide);
            // Labels keep clear of the left edge and end 5 before the plot.
            if (auto* t = std::get_if<Text>(&item); t && t->align == Align::Right) {
                EXPECT_EQ(t->box.x, 6);
                EXPECT_EQ(t->box.x + t->box.width, wide - 5);
            }
        }
    }
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
