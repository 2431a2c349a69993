// The layout of one graph: value-axis labels, the plot with its gradient, title or held values,
// average line, bars or lines with the previous year, bottom labels and grid, as a display list.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "main/display_list.h"
#include "main/graph_series.h"

namespace numbrel {

class Environment;
class Formatter;

struct LayoutRequest {
    double width = 390;
    double height = 300;
    std::optional<double> holdX;  // where the finger holds, or nothing
    Period period = Period::Daily;
    bool cost = false;
    int theme = 4;          // 0 dark grey, 1 red, 2 green, 3 blue, other: each bar against its comparison
    double average = 0;     // the value of the average line (seriesAverage)
    double leftMargin = 0;  // room left of the value-axis labels
    double plotLeft = 0;    // the plot starts here at least (graphs above each other line up)
};

struct GraphLayout {
    DisplayList list;
    std::optional<int> held;  // the index of the held point (0 the newest)
    std::string title;        // the text above the plot: the graph's title or the held point's values
    double average = 0;       // shown on the main screen's Current row
    double current = 0;
};

GraphLayout layoutGraph(const GraphSeries& series, const Value& meter, const LayoutRequest& request,
                        const Formatter& formatter, const Environment& env, const TextMeasurer& measurer);

// Where the plot of a graph starts: right of its value-axis labels.
double plotLeft(const GraphSeries& series, const Value& meter, const LayoutRequest& request,
                const Formatter& formatter, const Environment& env, const TextMeasurer& measurer);

// What holding each shown point would show above the plot, newest first; the first entry is the
// graph's title.
std::vector<std::string> graphTexts(const GraphSeries& series, const Value& meter,
                                    const LayoutRequest& request, const Formatter& formatter,
                                    const Environment& env, const TextMeasurer& measurer);

}  // namespace numbrel
