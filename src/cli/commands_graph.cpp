// Commands over the graphs: series (the data) and graph (an SVG drawing).
#include <fstream>

#include "cli_context.h"
#include "main/graph_layout.h"
#include "store/document.h"
#include "ui/localize.h"

namespace numbrel::cli {

namespace {

struct GraphArgs {
    int meter = 0;
    SeriesRequest request;
    PointCount count;
    bool landscape = false;
};

GraphArgs graphArgs(Context& ctx, Args& args, std::vector<std::string>& rest) {
    GraphArgs g;
    std::optional<std::string> period = args.option("--period");
    std::optional<std::string> reg = args.option("--register");
    std::optional<std::string> range = args.option("--range");
    g.request.cost = args.flag("--cost");
    rest = args.positionals();
    if (rest.empty()) throw UsageError("a METER is needed");
    if (!period) throw UsageError("--period (day|week|month|quarter|year) is needed");
    static const std::pair<const char*, Period> kPeriods[] = {{"day", Period::Daily},
                                                              {"week", Period::Weekly},
                                                              {"month", Period::Monthly},
                                                              {"quarter", Period::Quarterly},
                                                              {"year", Period::Yearly}};
    auto p = std::find_if(std::begin(kPeriods), std::end(kPeriods),
                          [&](const auto& e) { return *period == e.first; });
    if (p == std::end(kPeriods)) throw UsageError("--period is day, week, month, quarter or year");
    g.request.period = p->second;
    int rangeIndex = 0;
    if (range) {
        static const char* const kRanges[] = {"max", "2y", "1y", "6m", "3m", "1m"};
        auto r = std::find(std::begin(kRanges), std::end(kRanges), *range);
        if (r == std::end(kRanges)) throw UsageError("--range is max, 2y, 1y, 6m, 3m or 1m");
        rangeIndex = static_cast<int>(r - std::begin(kRanges));
        g.landscape = true;
    }
    if (reg) {
        if (*reg != "0" && *reg != "1" && *reg != "2" && *reg != "3")
            throw UsageError("--register is 0 to 3");
        g.request.tariff = std::stoi(*reg);
    }
    g.meter = static_cast<int>(ctx.meterIndex(rest[0]));
    const Value& doc = ctx.settings();
    g.count = pointCount(g.request.period, rangeIndex, g.landscape);
    g.request.meter = g.meter;
    g.request.maxPoints = g.count.maxPoints;
    g.request.extrapolate = boolOf(doc, "extrapolate");
    g.request.zero = boolOf(doc, "zero");
    return g;
}

void series(Context& ctx, Args& args) {
    bool json = args.flag("--json");
    std::vector<std::string> rest;
    GraphArgs g = graphArgs(ctx, args, rest);
    if (rest.size() != 1) throw UsageError("series takes one METER");
    NumbrelAppDelegate& app = ctx.delegate();
    Engine engine = app.engine();
    GraphSeries s = buildSeries(ctx.settings(), engine, app.formatter(), app.calendar(), g.request);
    double average = seriesAverage(s, engine, g.request, boolOf(ctx.settings(), "average"));
    if (!json) {
        // What the graph says of each point when it is held, newest first.
        LayoutRequest layout;
        layout.width = 1000;  // wide enough for the change against the year before
        layout.period = g.request.period;
        layout.cost = g.request.cost;
        layout.average = average;
        const Value& meter = (*metersOf(ctx.settings()))[static_cast<std::size_t>(g.meter)];
        FixedAdvanceMeasurer measurer;
        std::vector<std::string> texts =
            graphTexts(s, meter, layout, app.formatter(), app.environment(), measurer);
        ctx.out() << texts[0] << "\n";
        if (texts.size() == 1)
            ctx.out() << "  "
                      << tr("Add 2 or more readings to see graphs of usage and cost for the selected period")
                      << "\n";
        for (std::size_t i = 1; i < texts.size(); ++i)
            ctx.out() << "  " << texts[i] << "\n";
        ctx.out() << tr("Average") << ": " << app.formatter().formatDouble(average, meter, s.labelPrecision)
                  << "\n";
        return;
    }
    nlohmann::ordered_json out{{"maxPoints", g.count.maxPoints},
                               {"range", g.count.range},
                               {"points", s.points},
                               {"months", s.months},
                               {"current", s.current},
                               {"minimum", s.minimum},
                               {"maximum", s.maximum},
                               {"shown", s.shown},
                               {"bars", s.bars},
                               {"lowerBound", s.lowerBound},
                               {"labelPrecision", s.labelPrecision},
                               {"average", average},
                               {"day", s.day},
                               {"month", s.month},
                               {"year", s.year},
                               {"weekday", s.weekday}};
    ctx.out() << out.dump() << "\n";
}

void graph(Context& ctx, Args& args) {
    std::optional<std::string> size = args.option("--size");
    std::optional<std::string> hold = args.option("--hold");
    std::optional<std::string> output = args.option("-o");
    std::vector<std::string> rest;
    GraphArgs g = graphArgs(ctx, args, rest);
    if (rest.size() != 1) throw UsageError("graph takes one METER");
    if (!output) throw UsageError("graph needs -o FILE.svg");
    LayoutRequest layout;
    layout.width = g.landscape ? 844 : 390;
    layout.height = g.landscape ? 300 : 260;
    if (size) {
        auto x = size->find('x');
        try {
            if (x == std::string::npos) throw std::invalid_argument("size");
            layout.width = std::stod(size->substr(0, x));
            layout.height = std::stod(size->substr(x + 1));
        } catch (const std::exception&) {
            throw UsageError("--size is WIDTHxHEIGHT, e.g. 390x260");
        }
        if (!(layout.width >= 50 && layout.height >= 50 && layout.width <= 10000 && layout.height <= 10000))
            throw UsageError("--size must be between 50x50 and 10000x10000");
    }
    if (hold) {
        try {
            layout.holdX = std::stod(*hold);
        } catch (const std::exception&) {
            throw UsageError("--hold is the x of the finger, a number");
        }
    }
    NumbrelAppDelegate& app = ctx.delegate();
    Engine engine = app.engine();
    GraphSeries s = buildSeries(ctx.settings(), engine, app.formatter(), app.calendar(), g.request);
    layout.period = g.request.period;
    layout.cost = g.request.cost;
    layout.theme = static_cast<int>(integerOf(ctx.settings(), "theme", 4));
    layout.average = seriesAverage(s, engine, g.request, boolOf(ctx.settings(), "average"));
    const Value& meter = (*metersOf(ctx.settings()))[static_cast<std::size_t>(g.meter)];
    FixedAdvanceMeasurer measurer;
    GraphLayout result = layoutGraph(s, meter, layout, app.formatter(), app.environment(), measurer);
    std::ofstream file(*output, std::ios::binary | std::ios::trunc);
    file << toSvg(result.list);
    if (!file) throw InputError("cannot write " + *output);
    if (result.held) ctx.out() << "held point " << *result.held << ": " << result.title << "\n";
}

}  // namespace

void addGraphCommands(std::vector<Command>& commands) {
    commands.push_back(
        {"series",
         "series METER --period (day|week|month|quarter|year) [--register R] [--cost] "
         "[--range (max|2y|1y|6m|3m|1m)] [--json]",
         "The points of a graph, newest first, as holding each one shows it, and the average line; "
         "--json gives the series and what its drawing takes from it. Without --range the upright "
         "point counts apply; with it, landscape. \"extrapolate\", \"zero\" and \"average\" come from "
         "the document.",
         series});
    commands.push_back(
        {"graph",
         "graph METER --period P [--register R] [--cost] [--range RANGE] [--size WxH] [--hold X] "
         "-o FILE.svg",
         "Draws the graph as the main screen shows it and writes it as SVG. --hold X shows the values "
         "of the point under a finger held at x = X.",
         graph});
}

}  // namespace numbrel::cli
