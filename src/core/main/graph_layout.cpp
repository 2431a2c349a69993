#include "main/graph_layout.h"

#include <unicode/datefmt.h>
#include <unicode/timezone.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <memory>

#include "costs/currency_table.h"
#include "costs/formatter.h"
#include "plist/date_text.h"
#include "store/environment.h"
#include "ui/localize.h"

namespace numbrel {

namespace {

constexpr double kTop = 28;
constexpr double kFont = 14;
constexpr double kSmallFont = 11;

const Color kWhite = Color::gray(1);
const Color kDarkGray = Color::gray(1.0 / 3);
const Color kLightGray = Color::gray(2.0 / 3);
const Color kGray = Color::gray(0.5);
// Theme colours of platform version 7 and later.
const Color kRed{1.0, 0.2314, 0.1882};
const Color kGreen{0.2588, 0.8039, 0.0};
const Color kBlue{0.0039, 0.4824, 1.0};

const char* const kWeekdays[7] = {N_("Sun"), N_("Mon"), N_("Tue"), N_("Wed"),
                                  N_("Thu"), N_("Fri"), N_("Sat")};
const char* const kMonths[12] = {N_("Jan"), N_("Feb"), N_("Mar"), N_("Apr"), N_("May"), N_("Jun"),
                                 N_("Jul"), N_("Aug"), N_("Sep"), N_("Oct"), N_("Nov"), N_("Dec")};
// Whole titles per period and kind, so each language can order and inflect them.
// Kinds: usage, cost, generation, credit, average.
const char* const kTitles[5][5] = {
    {N_("Daily Usage"), N_("Daily Cost"), N_("Daily Generation"), N_("Daily Credit"), N_("Daily Average")},
    {N_("Weekly Usage"), N_("Weekly Cost"), N_("Weekly Generation"), N_("Weekly Credit"),
     N_("Weekly Average")},
    {N_("Monthly Usage"), N_("Monthly Cost"), N_("Monthly Generation"), N_("Monthly Credit"),
     N_("Monthly Average")},
    {N_("Quarterly Usage"), N_("Quarterly Cost"), N_("Quarterly Generation"), N_("Quarterly Credit"),
     N_("Quarterly Average")},
    {N_("Yearly Usage"), N_("Yearly Cost"), N_("Yearly Generation"), N_("Yearly Credit"),
     N_("Yearly Average")}};

std::string printf2(const char* format, long value) {
    char buf[32];
    std::snprintf(buf, sizeof buf, format, value);
    return buf;
}

// The first n characters (code points) of a text.
std::string firstChars(const std::string& text, std::size_t n) {
    std::size_t i = 0, seen = 0;
    while (i < text.size()) {
        if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) {
            if (seen == n) break;
            ++seen;
        }
        ++i;
    }
    return text.substr(0, i);
}

// A calendar month counted back from the newest: (year, month) of `back` months earlier.
void monthsBack(int year, int month, int back, int& y, int& m) {
    int index = year * 12 + (month - 1) - back;
    y = index >= 0 ? index / 12 : (index - 11) / 12;
    m = index - y * 12 + 1;
}

class Layout {
public:
    Layout(const GraphSeries& s, const Value& meter, const LayoutRequest& r, const Formatter& f,
           const Environment& env, const TextMeasurer& measure)
        : s_(s), meter_(meter), r_(r), f_(f), env_(env), measure_(measure) {
        W_ = r.width;
        H_ = r.height;
        B_ = H_ - 20;
        n_ = s.shown;
        hasPrevious_ = s.hasPreviousYear();
        newestDay_ = daysFromCivil(s.year, static_cast<unsigned>(std::max(s.month, 1)),
                                   static_cast<unsigned>(std::max(s.day, 1)));
    }

    GraphLayout run() {
        GraphLayout out;
        out.list.width = W_;
        out.list.height = H_;
        items_ = &out.list.items;

        std::string maxLabel, lowLabel;
        if (!s_.points.empty()) {
            maxLabel = number(s_.maximum);
            lowLabel = number(s_.lowerBound);
        }
        L_ = std::max(left(), r_.plotLeft);
        scale_ = s_.maximum >= s_.lowerBound + 0.00001 ? (B_ - kTop - 2) / (s_.maximum - s_.lowerBound) : 0.0;

        add(FillRect{{0, 0, W_, H_}, kWhite});
        add(Gradient{{L_, kTop, W_ - L_, B_ - kTop},
                     Color{208 / 255.0, 210 / 255.0, 216 / 255.0},
                     Color{237 / 255.0, 237 / 255.0, 237 / 255.0}});
        if (!s_.points.empty()) {
            add(Text{maxLabel, labelBox(18), Align::Right, kFont, kDarkGray});
            add(Text{lowLabel, labelBox(B_ - 10), Align::Right, kFont, kDarkGray});
        }
        add(Line{{L_, kTop}, {W_, kTop}, 1, kDarkGray, {}, false});
        add(Line{{L_, B_}, {W_, B_}, 1, kDarkGray, {}, false});

        // The held point is the one under the finger: bars and points run from the oldest on the left
        // to the newest on the right, so slot k from the left is point n - 1 - k.
        std::optional<double> heldX;
        if (r_.holdX && n_ > 0 && W_ > L_) {
            double x = std::clamp(*r_.holdX, L_, W_);
            int slot;
            if (s_.bars || n_ == 1) {
                const double w = (W_ - L_) / n_;
                slot = std::clamp(static_cast<int>(std::floor((x - L_) / w)), 0, n_ - 1);
                heldX = s_.bars ? L_ + slot * w + (hasPrevious_ ? w / 3 : w / 4) + w / 4 : L_;
            } else {
                const double step = (W_ - L_) / (n_ - 1);
                slot = std::clamp(static_cast<int>(std::lround((x - L_) / step)), 0, n_ - 1);
                heldX = L_ + slot * step;
            }
            out.held = n_ - 1 - slot;
        }
        out.title = out.held ? heldText(*out.held) : title();
        add(Text{out.title, {L_, 8, W_ - L_, 20}, Align::Center, kFont, kDarkGray});

        average_ = r_.average;
        averageLine();
        if (!s_.bars && s_.lowerBound < 0 && s_.maximum > 0) {
            double y = yOf(0);
            add(Line{{L_, y}, {W_, y}, 1, kLightGray, {}, true});
        }
        if (n_ > 0) s_.bars ? bars() : lines();
        if (heldX) add(Line{{*heldX, kTop}, {*heldX, B_}, 1, kGray, {}, false});
        out.average = average_;
        out.current = s_.current;
        return out;
    }

    // The plot's left edge for the labels: the wider of the two value-axis labels, and 5 more.
    double left() const {
        double labels = s_.points.empty() ? 0
                                          : std::max(measure_.width(number(s_.maximum), kFont),
                                                     measure_.width(number(s_.lowerBound), kFont));
        return r_.leftMargin + labels + 5;
    }

    std::vector<std::string> texts() const {
        std::vector<std::string> out{title()};
        for (int i = 0; i < n_ && static_cast<std::size_t>(i) < s_.points.size(); ++i)
            out.push_back(heldText(i));
        return out;
    }

private:
    template <typename T>
    void add(T item) {
        items_->emplace_back(std::move(item));
    }

    // A value-axis label's box: right-aligned against the plot, from the left margin.
    Rect labelBox(double top) const { return {r_.leftMargin, top, L_ - 5 - r_.leftMargin, 20}; }

    std::string number(double v) const { return f_.formatDouble(v, meter_, s_.labelPrecision); }

    double yOf(double v) const {
        double y = B_ - scale_ * (v - s_.lowerBound) - 1;
        if (y >= B_) return B_ - 1;
        if (y <= kTop) return kTop + 1;
        return y;
    }

    bool generation() const {
        std::string_view type = stringOf(meter_, "type");
        return type == "Solar" || type == "Wind";
    }

    std::string unit() const {
        if (r_.cost) return std::string(symbolFor(stringOf(meter_, "code", "USD")).value_or(""));
        return std::string(stringOf(meter_, "units"));
    }

    std::string title() const {
        const int kind = r_.cost ? (generation() ? 3 : 1) : s_.weight ? 4 : generation() ? 2 : 0;
        return tr(kTitles[static_cast<int>(r_.period)][kind]) + " (" + unit() + ")";
    }

    std::string shortDate(std::int64_t dayNumber) const {
        if (!dateFormat_) {
            dateFormat_.reset(icu::DateFormat::createDateInstance(icu::DateFormat::kShort, env_.locale()));
            if (dateFormat_) dateFormat_->adoptTimeZone(icu::TimeZone::createTimeZone("UTC"));
        }
        if (!dateFormat_) return {};
        icu::UnicodeString text;
        dateFormat_->format(static_cast<UDate>(dayNumber) * 86400000.0, text);
        std::string out;
        text.toUTF8String(out);
        return out;
    }

    // The label of point i, counted back from the newest reading.
    std::string pointLabel(int i) const {
        int y, m;
        switch (r_.period) {
            case Period::Daily: {
                int weekday = ((s_.weekday - 1 - i) % 7 + 7) % 7;
                return tr(kWeekdays[weekday]) + " " + shortDate(newestDay_ - i);
            }
            case Period::Weekly:
                return tr("w/e") + " " + shortDate(newestDay_ - 7 * i);
            case Period::Monthly:
                monthsBack(s_.year, s_.month, i, y, m);
                return firstChars(tr(kMonths[m - 1]), 3) + " " + std::to_string(y);
            case Period::Quarterly:
                monthsBack(s_.year, s_.month, 3 * i, y, m);
                return "Q" + std::to_string((m - 1) / 3 + 1) + " " + std::to_string(y);
            case Period::Yearly:
                return std::to_string(s_.year - i);
        }
        return {};
    }

    std::string heldText(int i) const {
        std::string label = pointLabel(i);
        double value = s_.points[static_cast<std::size_t>(i)];
        if (hasPrevious_ && static_cast<std::size_t>(n_ + i) < s_.points.size()) {
            double previous = s_.points[static_cast<std::size_t>(n_ + i)];
            double change = previous != 0 ? (value - previous) * 100 / previous : 0.0;
            // "%+.1f%%", written without the process locale's decimal separator.
            char digits[32];
            auto [end, ec] =
                std::to_chars(digits, digits + sizeof digits, change, std::chars_format::fixed, 1);
            std::string pct = (change >= 0 ? "+" : "") + std::string(digits, end) + "%";
            std::string text = label + ": " + number(value) + " (" + number(previous) + ", " + pct + ")";
            if (measure_.width(text, kFont) < 0.9 * W_) return text;
            return label + ": " + number(value) + " (" + number(previous) + ")";
        }
        return label + ": " + number(value) + " (" + unit() + ")";
    }

    void averageLine() {
        double A = average_;
        double y = std::floor(B_ - scale_ * (A - s_.lowerBound) - 1);
        if (!(y > kTop && y < B_)) return;
        double top = y < 43 ? 43 : y <= B_ - 25 ? y - 10 : B_ - 25;
        add(Text{number(A), labelBox(top), Align::Right, kFont, kLightGray});
        add(Line{{L_, y}, {W_, y}, 1, kLightGray, {3, 2}});
    }

    Color themeColor(double value, double reference) const {
        switch (r_.theme) {
            case 0:
                return Color::gray(0.25);
            case 1:
                return kRed;
            case 2:
                return kGreen;
            case 3:
                return kBlue;
            default: {
                bool better = value <= reference;
                if (generation()) better = !better;  // more generation is the good side
                return better ? kGreen : kRed;
            }
        }
    }

    void bars() {
        const double w = (W_ - L_) / n_;
        for (int k = 0; k < n_ && hasPrevious_; ++k) {
            std::size_t index = static_cast<std::size_t>(n_ + (n_ - 1 - k));
            if (index >= s_.points.size()) continue;
            double y = yOf(s_.points[index]);
            add(FillRect{{L_ + k * w + w / 6, y, w / 2, B_ - y}, kWhite});
        }
        for (int k = 0; k < n_; ++k) {
            int i = n_ - 1 - k;
            double v = s_.points[static_cast<std::size_t>(i)];
            // A previous-year value of 0 is a year without readings: such a bar is compared with
            // the average instead.
            double previous = hasPrevious_ && static_cast<std::size_t>(n_ + i) < s_.points.size()
                                  ? s_.points[static_cast<std::size_t>(n_ + i)]
                                  : 0.0;
            double reference = previous != 0.0 ? previous : average_;
            double y = yOf(v);
            add(FillRect{{L_ + k * w + (hasPrevious_ ? w / 3 : w / 4), y, w / 2, B_ - y},
                         themeColor(v, reference)});
        }
        for (int k = 0; k < n_; ++k) {
            std::string label = barLabel(n_ - 1 - k);
            if (!label.empty())
                add(Text{label, {L_ + k * w, B_ + 1, w, 18}, Align::Center, kSmallFont, kDarkGray});
        }
    }

    std::string barLabel(int i) const {
        int y, m;
        switch (r_.period) {
            case Period::Daily: {
                std::string name = tr(kWeekdays[((s_.weekday - 1 - i) % 7 + 7) % 7]);
                return n_ > 7 ? firstChars(name, 1) : name;
            }
            case Period::Weekly: {
                std::int64_t yy;
                unsigned mm, dd;
                civilFromDays(newestDay_ - 7 * i, yy, mm, dd);
                return printf2("%02ld", static_cast<long>(dd));
            }
            case Period::Monthly: {
                monthsBack(s_.year, s_.month, i, y, m);
                std::string name = tr(kMonths[m - 1]);
                return n_ > 6 ? firstChars(name, 1) : name;
            }
            case Period::Quarterly: {
                monthsBack(s_.year, s_.month, 3 * i, y, m);
                int quarter = (m - 1) / 3 + 1;
                if (n_ < 5) return "Q" + std::to_string(quarter) + printf2("%02ld", y % 100);
                return quarter == 1 ? printf2("%02ld", y % 100) : "Q" + std::to_string(quarter);
            }
            case Period::Yearly:
                return n_ < 7 ? std::to_string(s_.year - i) : printf2("%02ld", (s_.year - i) % 100);
        }
        return {};
    }

    void lines() {
        const double step = n_ > 1 ? (W_ - L_) / (n_ - 1) : 0.0;
        auto xOf = [&](int i) { return L_ + (n_ - 1 - i) * step; };
        add(ClipBegin{{L_, kTop, W_ - L_, B_ - kTop}});
        if (hasPrevious_) {
            Polyline previous{{}, 2, kWhite, true};
            for (int i = n_ - 1; i >= 0; --i) {
                std::size_t index = static_cast<std::size_t>(n_ + i);
                if (index < s_.points.size()) previous.points.push_back({xOf(i), yOf(s_.points[index])});
            }
            add(std::move(previous));
        }
        Color color = r_.theme >= 0 && r_.theme <= 3 ? themeColor(0, 0) : Color::gray(0.25);
        Polyline shown{{}, 2, color, true};
        shown.points.reserve(static_cast<std::size_t>(n_));
        for (int i = n_ - 1; i >= 0; --i)
            shown.points.push_back({xOf(i), yOf(s_.points[static_cast<std::size_t>(i)])});
        add(std::move(shown));
        add(ClipEnd{});
        grid(xOf);
    }

    void mark(double x, const std::string& label) {
        if (x < L_ + 10 || x > W_ - 10) return;  // grid lines keep clear of the plot's edges
        add(Line{{x, kTop}, {x, B_}, 1, kLightGray, {}, true});
        double w = measure_.width(label, kSmallFont) + 4;
        if (x + w / 2 <= W_)
            add(Text{label, {x - w / 2, B_ + 1, w, 18}, Align::Center, kSmallFont, kDarkGray});
    }

    // Marks at calendar boundaries, thinned so that labels do not crowd: each of (index, label).
    template <typename XOf>
    void thinned(const std::vector<std::pair<int, std::string>>& marks, XOf xOf) {
        std::size_t count = marks.size();
        std::size_t every = count <= 7 ? 1 : count <= 11 ? 2 : count <= 23 ? 3 : count <= 47 ? 6 : 12;
        for (std::size_t j = 0; j < count; j += every)
            mark(xOf(marks[j].first), marks[j].second);
    }

    template <typename XOf>
    void grid(XOf xOf) {
        std::vector<std::pair<int, std::string>> marks;
        switch (r_.period) {
            case Period::Daily:
                if (n_ <= 70) {
                    for (int i = 0; i < n_; i += 7) {
                        std::int64_t yy;
                        unsigned mm, dd;
                        civilFromDays(newestDay_ - i, yy, mm, dd);
                        mark(xOf(i), printf2("%02ld", static_cast<long>(dd)));
                    }
                    return;
                }
                [[fallthrough]];
            case Period::Weekly:
                // Month starts, from the running day counts the series recorded.
                for (int count : s_.months) {
                    int i = r_.period == Period::Daily ? count - 1 : (count - 1) / 7;
                    if (i < 0 || i >= n_) continue;
                    std::int64_t yy;
                    unsigned mm, dd;
                    civilFromDays(newestDay_ - (count - 1), yy, mm, dd);
                    marks.emplace_back(i, printf2("%02ld", static_cast<long>(mm)));
                }
                break;
            case Period::Monthly:
            case Period::Quarterly:
                // Year starts, labelled with the two-digit year.
                for (int i = 0; i < n_; ++i) {
                    int y, m;
                    monthsBack(s_.year, s_.month, r_.period == Period::Monthly ? i : 3 * i, y, m);
                    if (m <= (r_.period == Period::Monthly ? 1 : 3))
                        marks.emplace_back(i, printf2("%02ld", static_cast<long>(y % 100)));
                }
                break;
            case Period::Yearly:
                for (int i = 0; i < n_; ++i)
                    marks.emplace_back(i, printf2("%02ld", (s_.year - i) % 100));
                break;
        }
        thinned(marks, xOf);
    }

    const GraphSeries& s_;
    const Value& meter_;
    const LayoutRequest& r_;
    const Formatter& f_;
    const Environment& env_;
    const TextMeasurer& measure_;
    mutable std::unique_ptr<icu::DateFormat> dateFormat_;
    std::vector<DisplayItem>* items_ = nullptr;
    double W_, H_, B_, L_ = 5, scale_ = 0, average_ = 0;
    int n_;
    bool hasPrevious_;
    std::int64_t newestDay_;
};

}  // namespace

GraphLayout layoutGraph(const GraphSeries& series, const Value& meter, const LayoutRequest& request,
                        const Formatter& formatter, const Environment& env, const TextMeasurer& measurer) {
    return Layout(series, meter, request, formatter, env, measurer).run();
}

double plotLeft(const GraphSeries& series, const Value& meter, const LayoutRequest& request,
                const Formatter& formatter, const Environment& env, const TextMeasurer& measurer) {
    return Layout(series, meter, request, formatter, env, measurer).left();
}

std::vector<std::string> graphTexts(const GraphSeries& series, const Value& meter,
                                    const LayoutRequest& request, const Formatter& formatter,
                                    const Environment& env, const TextMeasurer& measurer) {
    return Layout(series, meter, request, formatter, env, measurer).texts();
}

}  // namespace numbrel
