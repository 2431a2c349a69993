#include "main/graph_series.h"

#include <gtest/gtest.h>

#include "costs/engine.h"
#include "costs/formatter.h"
#include "plist/date_text.h"
#include "store/calendar.h"
#include "support/test_support.h"

namespace numbrel {
namespace {

using test::at;

class SeriesTest : public ::testing::Test {
protected:
    SeriesTest() : env_(test::pinnedEnvironment()), calendar_(env_), formatter_(env_) {}

    // A meter read at the given instants (oldest first) with the given dial values.
    void setReadings(const std::vector<std::pair<Date, double>>& oldestFirst,
                     std::initializer_list<std::pair<std::string_view, Value>> keys = {}) {
        Array readings;
        for (auto it = oldestFirst.rbegin(); it != oldestFirst.rend(); ++it)
            readings.push_back(Value::makeDictionary(
                {{"date", it->first}, {"reading", Value(Array{it->second, 0.0, 0.0})}}));
        Value meter = Value::makeDictionary({{"name", "E"},
                                             {"enabled", 1},
                                             {"digits", 7},
                                             {"precision", 1},
                                             {"factor", 1.0},
                                             {"code", "GBP"},
                                             {"units", "kWh"},
                                             {"readings", Value(std::move(readings))}});
        for (const auto& [k, v] : keys)
            meter.set(k, v);
        doc_ = Value::makeDictionary({{"settings", Value(Array{std::move(meter)})}});
    }

    // Daily readings at a local time of day, `perDay` units a day, from `first` for `days` days.
    void daily(const char* first, int days, double perDay) {
        std::vector<std::pair<Date, double>> r;
        Date start = at(first);
        for (int i = 0; i <= days; ++i)
            r.push_back({calendar_.addDays(start, i), perDay * i});
        setReadings(r);
    }

    GraphSeries build(Period period, int maxPoints, bool extrapolate = false, bool cost = false) {
        Engine engine(doc_, calendar_);
        SeriesRequest request;
        request.period = period;
        request.maxPoints = maxPoints;
        request.extrapolate = extrapolate;
        request.cost = cost;
        return buildSeries(doc_, engine, formatter_, calendar_, request);
    }

    Environment env_;
    Calendar calendar_;
    Formatter formatter_;
    Value doc_;
};

TEST_F(SeriesTest, NewestDayAtSixInTheEvening) {
    setReadings({{at("2026-01-10T18:00:00Z"), 0}, {at("2026-01-12T18:00:00Z"), 48}});
    // Without extrapolation the newest day holds the three quarters before the reading.
    GraphSeries off = build(Period::Daily, 0);
    EXPECT_EQ(off.points, (std::vector<double>{18, 24}));
    EXPECT_EQ(off.current, 18);
    // With it, the rest of the newest day and the first part of the oldest day are added.
    GraphSeries on = build(Period::Daily, 0, true);
    EXPECT_EQ(on.points, (std::vector<double>{24, 24, 24}));
    EXPECT_EQ(on.day, 12);
    EXPECT_EQ(on.month, 1);
    EXPECT_EQ(on.year, 2026);
    EXPECT_EQ(on.weekday, 2);  // a Monday
}

TEST_F(SeriesTest, WeeksEndOnTheNewestReadingsWeekday) {
    daily("2026-01-01T12:00:00Z", 21, 1.0);  // newest: 22 January 2026, a Thursday, at noon
    GraphSeries s = build(Period::Weekly, 0);
    ASSERT_GE(s.points.size(), 3u);
    EXPECT_DOUBLE_EQ(s.points[0], 6.5);  // half of Thursday and the six days before it
    EXPECT_DOUBLE_EQ(s.points[1], 7.0);
    EXPECT_DOUBLE_EQ(s.points[2], 7.0);
    EXPECT_EQ(s.weekday, 5);
    EXPECT_TRUE(s.bars);
}

TEST_F(SeriesTest, MonthlyWithSixMonthsAndThePreviousYear) {
    // Three years of daily readings at noon; each day uses its month's number in units.
    std::vector<std::pair<Date, double>> r;
    Date d = at("2023-01-01T12:00:00Z");
    double total = 0;
    r.push_back({d, 0});
    for (int i = 0; i < 3 * 365 + 75; ++i) {
        d = calendar_.addDays(d, 1);
        total += calendar_.components(d).month;
        r.push_back({d, total});
    }
    setReadings(r);
    GraphSeries s = build(Period::Monthly, 6);
    ASSERT_EQ(s.points.size(), 12u);
    EXPECT_EQ(s.shown, 6);
    EXPECT_TRUE(s.hasPreviousYear());
    // Each shown month and the same month a year earlier hold the same usage (2025 and 2026 are
    // both common years).
    for (int k = 1; k < 6; ++k)
        EXPECT_NEAR(s.points[k], s.points[k + 6], 1e-9) << k;
    // February: 28 days at 2 units, and half a day at March's 3 units from the reading at noon.
    EXPECT_NEAR(s.points[1], 28 * 2 + 0.5, 1e-9);
    EXPECT_TRUE(s.bars);
    EXPECT_EQ(s.lowerBound, 0.0);
    EXPECT_EQ(s.labelPrecision, 0);  // a spread of 100 or more
}

TEST_F(SeriesTest, ShortBucketsAreCompletedWhenExtrapolating) {
    // 10 units a day from 1 November 2025 00:00 to 16 December 2025 00:00 (London, winter time).
    std::vector<std::pair<Date, double>> r;
    Date d = at("2025-11-01T00:00:00Z");
    for (int i = 0; i <= 45; ++i)
        r.push_back({calendar_.addDays(d, i), 10.0 * i});
    setReadings(r);
    GraphSeries monthly = build(Period::Monthly, 0, true);
    ASSERT_EQ(monthly.points.size(), 2u);
    // December so far: 16 days (the 16th counts whole with extrapolation), completed to 31.
    EXPECT_NEAR(monthly.points[0], 160.0 * 31 / 16, 1e-6);
    EXPECT_NEAR(monthly.points[1], 300, 1e-6);  // November, whole

    // The open fourth quarter: 46 days, completed with (92 - 46) x the daily average of the year.
    GraphSeries quarterly = build(Period::Quarterly, 0, true);
    ASSERT_EQ(quarterly.points.size(), 1u);
    EXPECT_NEAR(quarterly.points[0], 460 + (92 - 46) * 10, 1e-6);
    GraphSeries yearly = build(Period::Yearly, 0, true);
    EXPECT_NEAR(yearly.points[0], 460 + (365 - 46) * 10, 1e-6);
    GraphSeries plain = build(Period::Yearly, 0, false);
    EXPECT_NEAR(plain.points[0], 450, 1e-6);
}

TEST(LeapYear, TheThousandYearRule) {
    EXPECT_TRUE(isLeapYear(2000));
    EXPECT_FALSE(isLeapYear(2100));
    EXPECT_FALSE(isLeapYear(1900));
    EXPECT_TRUE(isLeapYear(3000));
    EXPECT_TRUE(isLeapYear(2024));
    EXPECT_FALSE(isLeapYear(2026));
}

TEST(PointCount, UprightAndLandscape) {
    EXPECT_EQ(pointCount(Period::Daily, 5, false).maxPoints, 365);
    EXPECT_EQ(pointCount(Period::Yearly, 2, false).maxPoints, 0);
    PointCount q = pointCount(Period::Quarterly, 5, true);
    EXPECT_EQ(q.maxPoints, 1);
    EXPECT_EQ(q.range, 4);  // one month cannot hold a quarter: three months
    PointCount y = pointCount(Period::Yearly, 3, true);
    EXPECT_EQ(y.maxPoints, 1);
    EXPECT_EQ(y.range, 2);
    EXPECT_EQ(pointCount(Period::Weekly, 1, true).maxPoints, 104);
    EXPECT_EQ(pointCount(Period::Monthly, 0, true).maxPoints, 0);
}

TEST_F(SeriesTest, FewerThanTwoReadingsGiveNoPoints) {
    setReadings({{at("2026-01-10T18:00:00Z"), 5}});
    GraphSeries s = build(Period::Daily, 365);
    EXPECT_TRUE(s.points.empty());
    EXPECT_EQ(s.current, 0.0);
    setReadings({});
    EXPECT_TRUE(build(Period::Monthly, 12).points.empty());
}

TEST_F(SeriesTest, TheWeightMeterAveragesItsReadings) {
    setReadings({{at("2026-01-01T08:00:00Z"), 80},
                 {at("2026-01-03T08:00:00Z"), 79},
                 {at("2026-01-03T20:00:00Z"), 81},
                 {at("2026-01-04T08:00:00Z"), 78}},
                {{"name", "Weight"}, {"type", "Other"}, {"direction", 2}, {"code", "-"}, {"units", "kg"}});
    GraphSeries s = build(Period::Daily, 0);
    EXPECT_TRUE(s.weight);
    // 4th: 78; 3rd: (79 + 81) / 2; 2nd: no reading, repeats 80; 1st: 80.
    EXPECT_EQ(s.points, (std::vector<double>{78, 80, 80, 80}));
}

TEST_F(SeriesTest, DaysAcrossTheChangeToSummerTime) {
    // Noon every day, local time, across 29 March 2026 in London: every day once, each a whole day.
    std::vector<std::pair<Date, double>> r;
    Date d = at("2026-03-25T12:00:00Z");
    for (int i = 0; i <= 8; ++i)
        r.push_back({calendar_.addDays(d, i), 5.0 * i});
    setReadings(r);
    GraphSeries s = build(Period::Daily, 0, true);
    ASSERT_EQ(s.points.size(), 9u);
    for (std::size_t i = 1; i + 1 < s.points.size(); ++i) {
        // The day of the change has 23 hours but is one day of the walk; the pairs around it run
        // over 23 hours, so their daily rate is a little higher.
        EXPECT_GT(s.points[i], 4.9) << i;
        EXPECT_LT(s.points[i], 5.3) << i;
    }
    EXPECT_EQ(s.day, 2);
    EXPECT_EQ(s.month, 4);
}

TEST_F(SeriesTest, DerivedValues) {
    daily("2026-01-01T12:00:00Z", 40, 0.05);
    GraphSeries s = build(Period::Daily, 14);
    EXPECT_EQ(s.shown, 14);
    EXPECT_TRUE(s.bars);
    EXPECT_EQ(s.lowerBound, 0.0);    // bars start at zero
    EXPECT_EQ(s.labelPrecision, 1);  // spread below 0.1 keeps the meter's precision
    GraphSeries lines = build(Period::Daily, 15);
    EXPECT_FALSE(lines.bars);
    EXPECT_GT(lines.lowerBound, 0.0);  // lines keep their minimum unless "zero" is on
    GraphSeries cost = build(Period::Daily, 14, false, true);
    EXPECT_EQ(cost.labelPrecision, 2);  // pounds
}

}  // namespace
}  // namespace numbrel
