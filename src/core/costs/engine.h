// The usage and cost engine: daily usage, daily cost and fixed charges over any span of a meter's
// readings, with dial rollover, counting direction, register formulas, conversion factor, stepped and
// month-dependent rates, fixed charges, discounts, tax and dated rate changes.
//
// Every operation is a pure function of the settings document, read afresh on each call (edits are
// seen at once), allocating nothing. Readings are addressed by index (0 = newest); a span (a, b) runs
// from the older reading a to the newer reading b. Usage and cost are per-day averages unless a
// function says it returns a total. Out-of-range indexes, empty spans and non-positive day counts
// give 0; no document, however malformed, makes them fail.
#pragma once

#include <string_view>

#include "plist/value.h"

namespace numbrel {

class Calendar;

// An amount per period word as an amount per day: "week" /7, "month" *12/365, "quarter" *4/365,
// "year" /365, "day" and any other word unchanged. The year is always 365 days here.
double perDay(double amount, std::string_view period);

class Engine {
public:
    // document: the settings document; calendar: Gregorian, in the device time zone (month-dependent
    // rates use calendar months).
    Engine(const Value& document, const Calendar& calendar) : doc_(document), calendar_(calendar) {}

    // Days (fractional) from reading a to reading b; 0 when there is no reading a or a <= b.
    double days(int meter, int a, int b) const;

    // Billed units per day over the span; register 0 = the whole meter, 1..3 one register.
    double usage(int meter, int tariff, int a, int b) const;

    // Total cost from start to end at one rate set (rate = index into "previous", -1 = current),
    // using the daily usage of the span a-b.
    double cost(int meter, int tariff, int a, int b, int rate, Date start, Date end) const;

    // Cost per day over the span, each stretch charged at the rates then in force.
    double cost(int meter, int tariff, int a, int b) const;

    // Cost per day over the span at the current rates only.
    double costNow(int meter, int tariff, int a, int b) const;

    // Total fixed charge, tax included, from start to end at one rate set.
    double fixed(int meter, int rate, Date start, Date end) const;

    // Fixed charge per day over the span, with rate changes.
    double fixed(int meter, int a, int b) const;

    // Index of the reading closest to one year before the newest (never 0 itself; 0 with fewer than
    // two readings).
    int yearAgo(int meter) const;

    // Whether the meter has costs: its "code" is not "-".
    bool hasCost(int meter) const;

    // The rate set in force at instant t: index into "previous", or -1 for the current rates.
    int rateAt(int meter, Date t) const;

    // The registers (0-based, inclusive) a register argument covers.
    struct RegisterRange {
        int first = 0;
        int last = -1;
    };

private:
    const Value* meterAt(int meter) const;
    const Value* rateSet(const Value& meter, int rate) const;
    double pairCost(const Value& meter, int tariff, int a, int b) const;
    double costAt(const Value& meter, const RegisterRange& regs, const double* usages, int tariff, int rate,
                  Date start, Date end) const;
    double tariffCost(const Value& tariff, double u, double n, Date start, Date end) const;
    double monthlyCost(const Value& tariff, double u, Date start, Date end) const;

    const Value& doc_;
    const Calendar& calendar_;
};

}  // namespace numbrel
