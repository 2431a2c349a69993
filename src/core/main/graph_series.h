// The series behind a graph: a meter's usage or cost spread over calendar buckets of one period kind
// (daily to yearly), newest bucket first, with the same range one year earlier appended for
// comparison, and the values the drawing takes from it.
#pragma once

#include <cstdint>
#include <vector>

#include "plist/value.h"

namespace numbrel {

class Calendar;
class Engine;
class Formatter;

enum class Period { Daily = 0, Weekly = 1, Monthly = 2, Quarterly = 3, Yearly = 4 };

// Buckets per year of a period kind: 365, 52, 12, 4, 1.
int pointsPerYear(Period period);

// The number of points to show (0 = all) for a period and range (0 "Max", 1 two years, 2 one year,
// 3 six months, 4 three months, 5 one month). Upright, the period alone decides; in landscape the
// range does, and a range shorter than one period is pulled back to the shortest range that holds
// one (the corrected range is returned for the caller to store).
struct PointCount {
    int maxPoints = 0;
    int range = 0;
};
PointCount pointCount(Period period, int range, bool landscape);

struct SeriesRequest {
    int meter = 0;   // index into "settings"
    int tariff = 0;  // 0 the whole meter, 1..3 one register
    Period period = Period::Daily;
    int maxPoints = 0;  // 0 = all
    bool cost = false;
    bool extrapolate = false;  // the setting "extrapolate"
    bool zero = false;         // the setting "zero" ("Minimum zero")
};

struct GraphSeries {
    std::vector<double> points;  // newest first; from `shown` on, the same buckets a year earlier
    std::vector<int> months;     // running day counts at which the 1st of a month was met
    int day = 0, month = 0, year = 0, weekday = 0;  // the newest reading's date (weekday 1 = Sunday)
    double current = 0.0;                           // the newest bucket
    double minimum = 0.0, maximum = 0.0;
    int shown = 0;            // points shown (maxPoints, settled)
    bool bars = false;        // bars, else lines
    double lowerBound = 0.0;  // of the value axis
    int labelPrecision = 0;   // decimals of the axis labels
    bool weight = false;      // the weight meter: averages of readings, not usage
    bool hasPreviousYear() const { return points.size() > static_cast<std::size_t>(shown); }
};

// The weight meter: "Weight", type "Other", one register, direction 2, no costs, units "kg".
bool isWeightMeter(const Value& meter);

// Divisible by 4, and by 100 only when by 1000. Deliberately not the 400-year rule: bucket
// completion has always used this one.
bool isLeapYear(int year);

GraphSeries buildSeries(const Value& document, const Engine& engine, const Formatter& formatter,
                        const Calendar& calendar, const SeriesRequest& request);

// The average drawn as a dashed line: with the setting "average" (and not the weight meter) the
// engine's daily average over the last year times the period's days (1, 7, 365/12, 91.25, 365);
// otherwise the mean of the shown points, or 0 when their sum is not above 0.
double seriesAverage(const GraphSeries& series, const Engine& engine, const SeriesRequest& request,
                     bool annualAverage);

}  // namespace numbrel
