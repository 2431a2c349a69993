#include "main/graph_series.h"

#include <algorithm>

#include "costs/engine.h"
#include "costs/formatter.h"
#include "plist/date_text.h"
#include "store/calendar.h"
#include "store/document.h"
#include "store/meter_record.h"

namespace numbrel {

namespace {

constexpr double kDay = 86400.0;
// A span of readings wider than this many days is a broken date, not a history to draw day by day.
constexpr std::int64_t kMaxDaysWalked = 366 * 200;

Date dateOf(const Value& reading) {
    const Value* d = reading.find("date");
    return d && d->isDate() ? d->date() : Date{0.0};
}

double firstRegister(const Value& reading) {
    const Value* values = reading.find("reading");
    const Value* v = values ? values->at(0) : nullptr;
    return v ? v->toReal() : 0.0;
}

// Collects buckets as the calendar days are walked back from the newest reading.
class Buckets {
public:
    Buckets(GraphSeries& s, const SeriesRequest& r, double yearDaily)
        : s_(s), period_(r.period), maxPoints_(r.maxPoints), extrapolate_(r.extrapolate), perDay_(yearDaily) {
        int P = pointsPerYear(period_);
        target_ = maxPoints_ > 0 && maxPoints_ <= P ? maxPoints_ + P : maxPoints_;
    }

    bool full() const { return target_ > 0 && static_cast<int>(s_.points.size()) >= target_; }

    void add(double contribution) { value_ += contribution; }

    // Counts a walked day into the open bucket; closes the bucket when the day ends it. False once
    // enough points are built.
    bool walk(const Calendar::Day& d, double contribution) {
        value_ += contribution;
        countDay(d);
        if (endsBucket(d)) {
            close();
            return !full();
        }
        return true;
    }

    void countDay(const Calendar::Day& d) {
        ++days_;
        ++running_;
        last_ = d;
        if (d.day == 1 && (maxPoints_ == 0 || static_cast<int>(s_.points.size()) < maxPoints_))
            s_.months.push_back(static_cast<int>(running_));
    }

    bool endsBucket(const Calendar::Day& d) const {
        switch (period_) {
            case Period::Daily:
                return true;
            case Period::Weekly:
                return days_ == 7;  // weeks end on the newest reading's weekday
            case Period::Monthly:
                return d.day == 1;
            case Period::Quarterly:
                return d.day == 1 && (d.month - 1) % 3 == 0;
            case Period::Yearly:
                return d.day == 1 && d.month == 1;
        }
        return true;
    }

    void close() {
        s_.points.push_back(extrapolate_ ? completed() : value_);
        value_ = 0.0;
        days_ = 0;
    }

    // The still-open bucket after the oldest reading, if it has a day.
    void finish() {
        if (days_ >= 1 && !full()) close();
    }

    // Sets the value of an averaging bucket (the weight meter) directly.
    void closeWith(double v) {
        s_.points.push_back(v);
        value_ = 0.0;
        days_ = 0;
    }
    int days() const { return days_; }

private:
    // A bucket of fewer days than its period, scaled up to the whole period.
    double completed() const {
        const double days = days_;
        switch (period_) {
            case Period::Daily:
                return value_;
            case Period::Weekly:
                return days_ < 7 ? value_ * 7.0 / days : value_;
            case Period::Monthly: {
                int dim = daysInMonth(last_.year, last_.month);
                return days_ < dim ? value_ * dim / days : value_;
            }
            case Period::Quarterly: {
                int quarter = (last_.month - 1) / 3;
                int Q = quarter == 0 ? (isLeapYear(last_.year) ? 91 : 90) : quarter == 1 ? 91 : 92;
                return days_ < Q ? value_ + (Q - days) * perDay_ : value_;
            }
            case Period::Yearly: {
                int length = isLeapYear(last_.year) ? 366 : 365;
                return days_ < length ? value_ + (length - days) * perDay_ : value_;
            }
        }
        return value_;
    }

    GraphSeries& s_;
    Period period_;
    int maxPoints_;
    bool extrapolate_;
    double perDay_;  // the daily average over the last year, for quarterly and yearly completion
    int target_ = 0;
    double value_ = 0.0;
    int days_ = 0;
    std::int64_t running_ = 0;
    Calendar::Day last_;
};

void buildCumulative(GraphSeries& s, const Array& readings, const Engine& engine, const Calendar& calendar,
                     const SeriesRequest& r, double yearDaily) {
    const int n = static_cast<int>(readings.size());
    Buckets buckets(s, r, yearDaily);
    Calendar::Day newer = calendar.localDay(dateOf(readings[0]));
    double rate = 0.0;
    std::int64_t walked = 0;
    for (int i = 1; i < n; ++i) {
        rate = r.cost ? engine.cost(r.meter, r.tariff, i, i - 1) : engine.usage(r.meter, r.tariff, i, i - 1);
        Date newerDate = dateOf(readings[i - 1]), olderDate = dateOf(readings[i]);
        Calendar::Day older = calendar.localDay(olderDate);
        if (i == 1 && r.extrapolate) buckets.add(rate * (kDay - newer.secondsIntoDay) / kDay);
        if (newer.dayNumber > older.dayNumber) {
            for (std::int64_t day = newer.dayNumber; day > older.dayNumber; --day) {
                bool own = day == newer.dayNumber;
                Calendar::Day d = own ? newer : Calendar::dayFromNumber(day);
                if (!buckets.walk(d, own ? rate * newer.secondsIntoDay / kDay : rate)) return;
                if (++walked > kMaxDaysWalked) return;
            }
            buckets.add(rate * (kDay - older.secondsIntoDay) / kDay);
        } else {
            buckets.add(rate * (newerDate.seconds - olderDate.seconds) / kDay);  // both on one day
        }
        newer = older;
    }
    if (r.extrapolate) {
        // The oldest reading's day: the part before the reading, and the day itself.
        buckets.add(rate * newer.secondsIntoDay / kDay);
        buckets.countDay(newer);
    }
    buckets.finish();
}

// The weight meter's buckets are averages of the readings taken in them; a bucket without readings
// repeats the previous point. Nothing is extrapolated.
void buildAverages(GraphSeries& s, const Array& readings, const Calendar& calendar, const SeriesRequest& r) {
    SeriesRequest plain = r;
    plain.extrapolate = false;
    Buckets buckets(s, plain, 0.0);
    const int n = static_cast<int>(readings.size());
    std::int64_t newest = calendar.localDay(dateOf(readings[0])).dayNumber;
    std::int64_t oldest = calendar.localDay(dateOf(readings[n - 1])).dayNumber;
    if (newest - oldest > kMaxDaysWalked) oldest = newest - kMaxDaysWalked;
    int k = 0;
    double sum = 0.0;
    int count = 0;
    auto value = [&] { return count ? sum / count : (s.points.empty() ? 0.0 : s.points.back()); };
    for (std::int64_t day = newest; day >= oldest; --day) {
        while (k < n && calendar.localDay(dateOf(readings[k])).dayNumber >= day) {
            if (calendar.localDay(dateOf(readings[k])).dayNumber == day) {
                sum += r.cost ? 0.0 : firstRegister(readings[k]);
                ++count;
            }
            ++k;
        }
        Calendar::Day d = Calendar::dayFromNumber(day);
        buckets.countDay(d);
        if (buckets.endsBucket(d)) {
            buckets.closeWith(value());
            sum = 0.0;
            count = 0;
            if (buckets.full()) return;
        }
    }
    if (buckets.days() >= 1) buckets.closeWith(value());
}

// Keeps the shown range and the same range a year earlier: entries from maxPoints on become the
// comparison year (zeros where there is no older year).
void keepPreviousYear(GraphSeries& s, int maxPoints, int P) {
    int built = static_cast<int>(s.points.size());
    if (maxPoints <= 0 || built <= maxPoints) return;
    int T = built <= P ? P : maxPoints + P;
    if (static_cast<int>(s.points.size()) < T) s.points.resize(static_cast<std::size_t>(T), 0.0);
    int remove = P - maxPoints;
    if (remove > 0) s.points.erase(s.points.begin() + maxPoints, s.points.begin() + maxPoints + remove);
}

}  // namespace

int pointsPerYear(Period period) {
    switch (period) {
        case Period::Daily:
            return 365;
        case Period::Weekly:
            return 52;
        case Period::Monthly:
            return 12;
        case Period::Quarterly:
            return 4;
        case Period::Yearly:
            return 1;
    }
    return 365;
}

PointCount pointCount(Period period, int range, bool landscape) {
    const int p = static_cast<int>(period);
    if (!landscape) {
        static constexpr int kUpright[5] = {365, 52, 12, 4, 0};
        return {kUpright[p], range};
    }
    static constexpr int kTable[6][5] = {{0, 0, 0, 0, 0},    {730, 104, 24, 8, 2}, {365, 52, 12, 4, 1},
                                         {183, 26, 6, 2, 1}, {92, 13, 3, 1, 1},    {31, 4, 1, 1, 1}};
    range = std::clamp(range, 0, 5);
    PointCount out{kTable[range][p], range};
    // A range shorter than one period is pulled back to the shortest range that holds one.
    if (period == Period::Yearly && range > 2) out.range = 2;
    if (period == Period::Quarterly && range == 5) out.range = 4;
    return out;
}

bool isWeightMeter(const Value& meter) {
    return stringOf(meter, "name") == "Weight" && stringOf(meter, "type") == "Other" &&
           integerOf(meter, "enabled", 1) == 1 && integerOf(meter, "direction") == 2 &&
           stringOf(meter, "code") == "-" && stringOf(meter, "units") == "kg";
}

bool isLeapYear(int year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 1000 == 0);
}

GraphSeries buildSeries(const Value& document, const Engine& engine, const Formatter& formatter,
                        const Calendar& calendar, const SeriesRequest& request) {
    GraphSeries s;
    const Array* meters = metersOf(document);
    if (!meters || request.meter < 0 || request.meter >= static_cast<int>(meters->size())) return s;
    const Value& meter = (*meters)[static_cast<std::size_t>(request.meter)];
    const Array* readings = readingsOf(meter);
    const int n = readings ? static_cast<int>(readings->size()) : 0;
    s.weight = isWeightMeter(meter);

    if (n >= 1) {
        Calendar::Day newest = calendar.localDay(dateOf((*readings)[0]));
        s.day = newest.day;
        s.month = newest.month;
        s.year = newest.year;
        s.weekday = newest.weekday;
    }
    if (s.weight && n >= 1) {
        buildAverages(s, *readings, calendar, request);
    } else if (!s.weight && n >= 2) {
        double yearDaily = 0.0;
        if (request.extrapolate &&
            (request.period == Period::Quarterly || request.period == Period::Yearly)) {
            int back = engine.yearAgo(request.meter);
            yearDaily = request.cost ? engine.cost(request.meter, request.tariff, back, 0)
                                     : engine.usage(request.meter, request.tariff, back, 0);
        }
        buildCumulative(s, *readings, engine, calendar, request, yearDaily);
    }
    keepPreviousYear(s, request.maxPoints, pointsPerYear(request.period));

    s.current = s.points.empty() ? 0.0 : s.points.front();
    if (!s.points.empty()) {
        auto [lo, hi] = std::minmax_element(s.points.begin(), s.points.end());
        s.minimum = *lo;
        s.maximum = *hi;
    }
    s.shown = request.maxPoints;
    if (s.shown == 0 || s.shown > static_cast<int>(s.points.size()))
        s.shown = static_cast<int>(s.points.size());
    static constexpr int kMostBars[5] = {14, 10, 12, 8, 8};
    s.bars = s.shown <= kMostBars[static_cast<int>(request.period)];
    s.lowerBound = s.minimum > 0 && (s.bars || request.zero) ? 0.0 : s.minimum;
    if (request.cost) {
        s.labelPrecision = formatter.currencyPrecision(meter);
    } else {
        int p = static_cast<int>(std::clamp<std::int64_t>(integerOf(meter, "precision", 1), 0, 15));
        double spread = s.maximum - s.minimum;
        if (spread >= 100) {
            p = 0;
        } else if (spread > 10) {
            p = std::min(p, 1);
        } else if (spread > 1) {
            p = std::min(p, 2);
        } else if (spread >= 0.1) {
            p = std::min(p, 3);
        }
        s.labelPrecision = p;
    }
    return s;
}

double seriesAverage(const GraphSeries& series, const Engine& engine, const SeriesRequest& request,
                     bool annualAverage) {
    if (annualAverage && !series.weight) {
        static constexpr double kPeriodDays[5] = {1, 7, 30.416666666666668, 91.25, 365};
        int back = engine.yearAgo(request.meter);
        double daily = request.cost ? engine.cost(request.meter, request.tariff, back, 0)
                                    : engine.usage(request.meter, request.tariff, back, 0);
        return daily * kPeriodDays[static_cast<int>(request.period)];
    }
    double sum = 0.0;
    int shown = std::min(series.shown, static_cast<int>(series.points.size()));
    for (int i = 0; i < shown; ++i)
        sum += series.points[static_cast<std::size_t>(i)];
    return sum > 0 && shown > 0 ? sum / shown : 0.0;
}

}  // namespace numbrel
