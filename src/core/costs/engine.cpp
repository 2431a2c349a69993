#include "costs/engine.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include "store/calendar.h"

namespace numbrel {

namespace {

namespace key {
// The keys the engine reads, made once: lookups by them compare numbers, not texts.
const Key code{"code"}, date{"date"}, digits{"digits"}, direction{"direction"}, discount{"discount"},
    enabled{"enabled"}, factor{"factor"}, fixed{"fixed"}, isNew{"new"}, minus{"minus"}, monthly{"monthly"},
    name{"name"}, percent{"percent"}, period{"period"}, period2{"period2"}, previous{"previous"},
    rate{"rate"}, rates{"rates"}, reading{"reading"}, readings{"readings"}, settings{"settings"},
    stepped{"stepped"}, tariffs{"tariffs"}, tax{"tax"}, to{"to"}, units{"units"};
}  // namespace key

constexpr double kSecondsPerDay = 60.0 * 60.0 * 24.0;
constexpr int kRegisters = 3;
constexpr int kRateSteps = 12;
// A month walk longer than this is a broken date, not a span of readings.
constexpr int kMaxMonths = 12 * 2000;

double daysBetween(Date from, Date to) {
    return (to.seconds - from.seconds) / kSecondsPerDay;
}

const Array* readingsOf(const Value& meter) {
    return arrayOf(meter, key::readings);
}

int count(const Array* a) {
    return a ? static_cast<int>(a->size()) : 0;
}

Date dateOf(const Value& reading) {
    const Value* d = reading.find(key::date);
    return d && d->isDate() ? d->date() : Date{0.0};
}

// Register r (0-based) of a reading's values; 0 when there is no such value.
double valueAt(const Value* values, int r) {
    const Value* v = values ? values->at(static_cast<std::size_t>(r)) : nullptr;
    return v ? v->toReal() : 0.0;
}

double rateOf(const Value* step) {
    return step ? realOf(*step, key::rate) : 0.0;
}

// The registers a register argument covers: all of them for 0, else just that one (none when it is
// beyond the meter's registers).
Engine::RegisterRange registersFor(std::int64_t enabled, int tariff) {
    if (enabled > kRegisters) enabled = kRegisters;  // a reading holds three registers at most
    if (tariff == 0) return {0, static_cast<int>(enabled) - 1};
    int r = tariff - 1;
    return r >= 0 && r < enabled ? Engine::RegisterRange{r, r} : Engine::RegisterRange{};
}

struct Dial {
    const Array* readings;
    double modulus, half;
    std::int64_t direction, minus, enabled;
    bool readingsAreUsage;
    double factor;

    explicit Dial(const Value& m)
        : readings(readingsOf(m)),
          direction(integerOf(m, key::direction)),
          minus(integerOf(m, key::minus)),
          enabled(integerOf(m, key::enabled, 1)),
          // A meter named exactly "Test Type 1" reads usages rather than dial values; kept for the
          // documents that use it.
          readingsAreUsage(stringOf(m, key::name) == "Test Type 1" || direction == 2),
          factor(realOf(m, key::factor, 1.0)) {
        // The dial modulus is computed as an unsigned 32-bit integer on purpose: more than nine
        // digits wrap, as they always have, and changing it would change existing documents' usage.
        std::int64_t digits = integerOf(m, key::digits, 5);
        std::uint32_t M = 1;
        for (std::int64_t i = 0; i < digits && i < 64; ++i)
            M *= 10u;
        modulus = M;
        half = static_cast<double>(M / 2);
    }

    // The usage of register r between a newer and an older reading's values.
    double difference(const Value* newerValues, const Value* olderValues, int r) const {
        double d;
        if (readingsAreUsage) {
            d = valueAt(newerValues, r);
        } else if (direction == 1) {
            d = valueAt(olderValues, r) - valueAt(newerValues, r);
        } else {
            d = valueAt(newerValues, r) - valueAt(olderValues, r);
        }
        if (direction == 0 || direction == 1) {
            // A fall of less than half the dial stays a negative usage; a fall of more is a wrap past
            // zero; a rise of half the dial or more counts as a fall.
            if (d < 0) d += modulus;
            if (d >= half) d -= modulus;
        }
        return d;
    }
};

// Billed units per day over the span (see Engine::usage).
double usageOf(const Dial& dial, int tariff, int a, int b) {
    const Array* readings = dial.readings;
    if (count(readings) <= a || a <= b || b < 0) return 0.0;
    const double D = daysBetween(dateOf((*readings)[a]), dateOf((*readings)[b]));
    const Engine::RegisterRange regs = registersFor(dial.enabled, tariff);
    double total = 0.0;
    for (int j = b; j < a; ++j) {
        const Value& newer = (*readings)[j];
        const Value& older = (*readings)[j + 1];
        if (boolOf(newer, key::isNew)) continue;  // the meter was replaced between these two readings
        const Value* newerValues = newer.find(key::reading);
        const Value* olderValues = older.find(key::reading);
        for (int r = regs.first; r <= regs.last; ++r) {
            double d = dial.difference(newerValues, olderValues, r);
            // "minus" only counts in the whole meter's usage; each register alone is positive.
            if (tariff == 0 && r == dial.minus - 1) {
                total -= d;
            } else {
                total += d;
            }
        }
    }
    return D > 0 ? total * dial.factor / D : 0.0;
}

// Each register's own daily usage over the span, registers regs.first..regs.last, in one walk over
// the readings: the same as usageOf(dial, r + 1, a, b) for each r.
void registerUsages(const Dial& dial, const Engine::RegisterRange& regs, int a, int b, double* out) {
    for (int r = regs.first; r <= regs.last; ++r)
        out[r] = 0.0;
    const Array* readings = dial.readings;
    if (count(readings) <= a || a <= b || b < 0 || regs.last < regs.first) return;
    const double D = daysBetween(dateOf((*readings)[a]), dateOf((*readings)[b]));
    if (D <= 0) return;
    for (int j = b; j < a; ++j) {
        const Value& newer = (*readings)[j];
        if (boolOf(newer, key::isNew)) continue;
        const Value* newerValues = newer.find(key::reading);
        const Value* olderValues = (*readings)[j + 1].find(key::reading);
        for (int r = regs.first; r <= regs.last; ++r) {
            out[r] += dial.difference(newerValues, olderValues, r);
        }
    }
    for (int r = regs.first; r <= regs.last; ++r)
        out[r] = out[r] * dial.factor / D;
}

}  // namespace

double perDay(double amount, std::string_view period) {
    if (period == "week") return amount / 7.0;
    if (period == "month") return amount * 12.0 / 365.0;
    if (period == "quarter") return amount * 4.0 / 365.0;
    if (period == "year") return amount / 365.0;
    return amount;
}

const Value* Engine::meterAt(int meter) const {
    const Value* meters = doc_.find(key::settings);
    const Value* m = meter >= 0 && meters ? meters->at(static_cast<std::size_t>(meter)) : nullptr;
    return m && m->isDictionary() ? m : nullptr;
}

const Value* Engine::rateSet(const Value& meter, int rate) const {
    if (rate < 0) return &meter;
    const Value* previous = meter.find(key::previous);
    const Value* set = previous ? previous->at(static_cast<std::size_t>(rate)) : nullptr;
    return set && set->isDictionary() ? set : nullptr;
}

double Engine::days(int meter, int a, int b) const {
    const Value* m = meterAt(meter);
    const Array* readings = m ? readingsOf(*m) : nullptr;
    if (count(readings) <= a || a <= b || b < 0) return 0.0;
    return daysBetween(dateOf((*readings)[a]), dateOf((*readings)[b]));
}

double Engine::usage(int meter, int tariff, int a, int b) const {
    const Value* m = meterAt(meter);
    return m ? usageOf(Dial(*m), tariff, a, b) : 0.0;
}

double Engine::tariffCost(const Value& tariff, double u, double n, Date start, Date end) const {
    if (boolOf(tariff, key::monthly)) return monthlyCost(tariff, u, start, end);
    const bool stepped = boolOf(tariff, key::stepped);
    const Value* rates = tariff.find(key::rates);
    double cost = 0.0;
    for (int s = 0; s < kRateSteps; ++s) {
        const Value* step = rates ? rates->at(static_cast<std::size_t>(s)) : nullptr;
        if (!step) break;
        double units = realOf(*step, key::units);
        double rate = realOf(*step, key::rate);
        if (stepped && units > 0) {
            double q = perDay(units, stringOf(*step, key::period, "day"));
            if (u > q) {
                cost += n * q * rate;
                u -= q;
                continue;
            }
        }
        cost += n * u * rate;
        return cost;
    }
    // Usage beyond twelve full steps is left uncharged: deliberately, as it always has been.
    return cost;
}

double Engine::monthlyCost(const Value& tariff, double u, Date start, Date end) const {
    if (!std::isfinite(start.seconds) || !std::isfinite(end.seconds)) return 0.0;
    const bool stepped = boolOf(tariff, key::stepped);
    const Value* rates = tariff.find(key::rates);
    auto stepOf = [&](int index) { return rates ? rates->at(static_cast<std::size_t>(index)) : nullptr; };
    // A stepped monthly tariff takes only the allowance from the month's own step; the two prices
    // always come from the first two steps. Deliberate: that is how such tariffs are entered.
    const double r0 = rateOf(stepOf(0)), r1 = rateOf(stepOf(1));
    auto piece = [&](double d, int month) {
        const Value* s = stepOf(month - 1);
        if (!stepped) return d * u * rateOf(s);
        double q = (s ? realOf(*s, key::units) : 0.0) * 12.0 / 365.0;
        return u > q ? d * q * r0 + d * (u - q) * r1 : d * u * r0;
    };

    const Calendar::Month last = calendar_.monthOf(end);
    const int E = last.year * 100 + last.month;
    Date cursor = start;
    double sum = 0.0;
    for (int guard = 0; guard < kMaxMonths && cursor < end; ++guard) {
        Calendar::Month m = calendar_.monthOf(cursor);
        if (m.year * 100 + m.month == E) break;
        sum += piece(daysBetween(cursor, m.next), m.month);
        cursor = m.next;
    }
    return sum + piece(daysBetween(cursor, end), last.month);
}

double Engine::cost(int meter, int tariff, int a, int b, int rate, Date start, Date end) const {
    const Value* m = meterAt(meter);
    if (!m) return 0.0;
    const Dial dial(*m);
    double usages[kRegisters] = {};
    const RegisterRange regs = registersFor(dial.enabled, tariff);
    registerUsages(dial, regs, a, b, usages);
    return costAt(*m, regs, usages, tariff, rate, start, end);
}

// The cost at one rate set from start to end, given each register's own daily usage.
double Engine::costAt(const Value& m, const Engine::RegisterRange& regs, const double* usages, int tariff,
                      int rate, Date start, Date end) const {
    const Value* S = rateSet(m, rate);
    if (!S) return 0.0;
    const double N = daysBetween(start, end);
    double cost = 0.0;
    if (tariff == 0) cost = N * perDay(realOf(*S, key::fixed), stringOf(*S, key::period, "day"));

    const Value* tariffs = S->find(key::tariffs);
    for (int i = regs.first; i <= regs.last; ++i) {
        const Value* T = tariffs ? tariffs->at(static_cast<std::size_t>(i)) : nullptr;
        if (!T || !T->isDictionary()) continue;
        // Each register is charged for its own usage at its own tariff, the "minus" one included.
        cost += tariffCost(*T, usages[i], N, start, end);
    }
    if (tariff == 0) {
        cost -= N * perDay(realOf(*S, key::discount), stringOf(*S, key::period2, "day"));
        double percent = realOf(*S, key::percent);
        if (percent > 0) cost -= cost * percent / 100.0;
    }
    double tax = realOf(*S, key::tax);
    if (tax > 0) cost += cost * tax / 100.0;
    return cost;  // not clamped: a discount larger than the charges is a credit
}

namespace {

// The rate set in force at t: the oldest rate change whose "to" is later than t, else the current
// rates (-1).
int rateIn(const Value& meter, Date t) {
    const Value* previous = meter.find(key::previous);
    for (int i = static_cast<int>(previous ? previous->size() : 0) - 1; i >= 0; --i) {
        const Value* change = previous->at(static_cast<std::size_t>(i));
        const Value* to = change ? change->find(key::to) : nullptr;
        if (to && to->isDate() && to->date() > t) return i;
    }
    return -1;
}

}  // namespace

int Engine::rateAt(int meter, Date t) const {
    const Value* m = meterAt(meter);
    return m ? rateIn(*m, t) : -1;
}

// Charges [date of a, date of b] in stretches cut at the rate changes' "to" dates that lie strictly
// inside it, oldest first, each at the rate change whose "to" ends it; the last stretch at the rates
// in force at its start.
template <typename Charge>
static double overRateChanges(const Value& meter, Date start, Date end, Charge charge) {
    const Value* previous = meter.find(key::previous);
    const int n = static_cast<int>(previous ? previous->size() : 0);
    // The "to" dates, read once (NaN where a rate change has none), for the cuts and for the rates
    // in force after the last cut.
    constexpr int kRemembered = 32;
    double tos[kRemembered];
    Date cursor = start;
    double sum = 0.0;
    for (int i = n - 1; i >= 0; --i) {
        const Value* change = previous->at(static_cast<std::size_t>(i));
        const Value* to = change ? change->find(key::to) : nullptr;
        double t = to && to->isDate() ? to->date().seconds : std::numeric_limits<double>::quiet_NaN();
        if (i < kRemembered) tos[i] = t;
        if (!(t > start.seconds && t < end.seconds)) continue;
        sum += charge(i, cursor, Date{t});
        cursor = Date{t};
    }
    if (n > kRemembered) return sum + charge(rateIn(meter, cursor), cursor, end);
    int rate = -1;
    for (int i = n - 1; i >= 0; --i) {
        if (tos[i] > cursor.seconds) {  // NaN compares false: no "to", never in force
            rate = i;
            break;
        }
    }
    return sum + charge(rate, cursor, end);
}

double Engine::pairCost(const Value& meter, int tariff, int a, int b) const {
    const Array* readings = readingsOf(meter);
    Date start = dateOf((*readings)[a]), end = dateOf((*readings)[b]);
    double D = daysBetween(start, end);
    if (D <= 0) return 0.0;
    // Every stretch is charged for the daily usage of the whole pair.
    const Dial dial(meter);
    double usages[kRegisters] = {};
    const RegisterRange regs = registersFor(dial.enabled, tariff);
    registerUsages(dial, regs, a, b, usages);
    double sum = overRateChanges(meter, start, end, [&](int rate, Date from, Date to) {
        return costAt(meter, regs, usages, tariff, rate, from, to);
    });
    return sum / D;
}

double Engine::cost(int meter, int tariff, int a, int b) const {
    const Value* m = meterAt(meter);
    const Array* readings = m ? readingsOf(*m) : nullptr;
    if (count(readings) <= a || a <= b || b < 0) return 0.0;
    if (a == b + 1) return pairCost(*m, tariff, a, b);
    const double D = days(meter, a, b);
    if (D <= 0) return 0.0;
    // The day-weighted mean of the neighbouring pairs' daily costs.
    double sum = 0.0;
    for (int j = a; j > b; --j)
        sum += pairCost(*m, tariff, j, j - 1) * days(meter, j, j - 1);
    return sum / D;
}

double Engine::costNow(int meter, int tariff, int a, int b) const {
    const Value* m = meterAt(meter);
    const Array* readings = m ? readingsOf(*m) : nullptr;
    if (count(readings) <= a || a <= b || b < 0) return 0.0;
    const double D = days(meter, a, b);
    if (D <= 0) return 0.0;
    return cost(meter, tariff, a, b, -1, dateOf((*readings)[a]), dateOf((*readings)[b])) / D;
}

double Engine::fixed(int meter, int rate, Date start, Date end) const {
    const Value* m = meterAt(meter);
    const Value* S = m ? rateSet(*m, rate) : nullptr;
    if (!S) return 0.0;
    double f = perDay(realOf(*S, key::fixed), stringOf(*S, key::period, "day"));
    double tax = realOf(*S, key::tax);
    if (tax > 0) f += f * tax / 100.0;
    return daysBetween(start, end) * f;
}

double Engine::fixed(int meter, int a, int b) const {
    const Value* m = meterAt(meter);
    const Array* readings = m ? readingsOf(*m) : nullptr;
    if (count(readings) <= a || a <= b || b < 0) return 0.0;
    Date start = dateOf((*readings)[a]), end = dateOf((*readings)[b]);
    double D = daysBetween(start, end);
    if (D <= 0) return 0.0;
    double sum = overRateChanges(*m, start, end,
                                 [&](int rate, Date from, Date to) { return fixed(meter, rate, from, to); });
    return sum / D;
}

int Engine::yearAgo(int meter) const {
    const Value* m = meterAt(meter);
    int n = count(m ? readingsOf(*m) : nullptr);
    if (n - 1 < 1) return 0;
    int best = n - 1;
    double bestDays = days(meter, n - 1, 0);
    for (int i = n - 2; i >= 1; --i) {
        double d = days(meter, i, 0);
        // Strictly closer only: ties keep the older reading.
        if (std::abs(d - 365.0) < std::abs(bestDays - 365.0)) {
            best = i;
            bestDays = d;
        }
    }
    return best;
}

bool Engine::hasCost(int meter) const {
    const Value* m = meterAt(meter);
    return m && stringOf(*m, key::code) != "-";
}

}  // namespace numbrel
