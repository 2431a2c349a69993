// Commands over readings: readings, bill, current and export.
#include <algorithm>
#include <cstdlib>
#include <fstream>

#include "cli_context.h"
#include "readings/csv_export.h"
#include "readings/current_view_controller.h"
#include "readings/readings_view_controller.h"
#include "text_output.h"
#include "ui/localize.h"
#include "ui/screen.h"

namespace numbrel::cli {

namespace {

void exportCommand(Context& ctx, Args& args) {
    bool all = args.flag("--all");
    std::optional<std::string> output = args.option("-o");
    std::vector<std::string> rest = args.positionals();
    if (all == !rest.empty() || rest.size() > 1) throw UsageError("export needs a METER or --all");
    std::optional<int> meter;
    if (!all) meter = static_cast<int>(ctx.meterIndex(rest[0]));
    NumbrelAppDelegate& app = ctx.delegate();
    CsvFile file = exportCsv(ctx.settings(), app.engine(), app.formatter(), meter);
    if (!output) {
        ctx.out() << file.bytes;
        return;
    }
    std::ofstream out(*output, std::ios::binary | std::ios::trunc);
    out << file.bytes;
    if (!out) throw InputError("cannot write " + *output);
}

void readings(Context& ctx, Args& args) {
    bool json = args.flag("--json");
    bool bills = args.flag("--bills");
    std::optional<std::string> period = args.option("--period");
    std::vector<std::string> rest = args.positionals();
    if (rest.size() != 1) throw UsageError("readings needs one METER");
    int meter = static_cast<int>(ctx.meterIndex(rest[0]));
    RecordingNavigator nav;
    ReadingsViewController list(ctx.delegate(), nav, meter);
    if (period) {
        static const char* const kPeriods[] = {"delta", "day", "week", "month", "quarter", "year"};
        auto p = std::find(std::begin(kPeriods), std::end(kPeriods), *period);
        if (p == std::end(kPeriods)) throw UsageError("--period is delta, day, week, month, quarter or year");
        list.periodAction(static_cast<int>(p - std::begin(kPeriods)));
    }
    if (bills) {
        list.usageSheet();
        list.answerUsageSheet(2);  // "Between Bills"
        if (!list.bills()) throw InputError("the meter has no readings marked as bills");
    }
    if (!json) {
        std::string item = list.periodItems(false)[static_cast<std::size_t>(list.periodIndex())];
        ctx.out() << list.title() << ": " << stringOf(ctx.delegate().meter(meter), "name") << " ("
                  << item.substr(1, item.size() - 2) << ")\n";
        TextTable table({false, false, true, true});
        for (const auto& section : list.readingSections()) {
            table.addHeading(section.title);
            for (const auto& r : section.rows) {
                std::string registers;
                for (std::size_t i = 0; i < r.registers.size(); ++i) {
                    if (i) registers += "  ";
                    registers += r.registers[i];
                    if (i < r.registerUsage.size()) registers += " (" + r.registerUsage[i] + ")";
                }
                table.add({r.date, registers, r.usage, r.cost, r.bill ? tr("Bill") : ""});
            }
        }
        table.print(ctx.out());
        return;
    }
    auto out = nlohmann::ordered_json::array();
    for (const auto& section : list.readingSections()) {
        auto rows = nlohmann::ordered_json::array();
        for (const auto& r : section.rows)
            rows.push_back({{"index", r.index},
                            {"date", r.date},
                            {"registers", r.registers},
                            {"usage", r.usage},
                            {"cost", r.cost},
                            {"registerUsage", r.registerUsage},
                            {"bill", r.bill}});
        out.push_back({{"title", section.title}, {"rows", rows}});
    }
    ctx.out() << out.dump(2) << "\n";
}

void bill(Context& ctx, Args& args) {
    bool json = args.flag("--json");
    std::vector<std::string> rest = args.positionals();
    if (rest.size() != 2 || (rest[1] != "since-last" && rest[1] != "next"))
        throw UsageError("bill needs METER and since-last or next");
    RecordingNavigator nav;
    ReadingsViewController list(ctx.delegate(), nav, static_cast<int>(ctx.meterIndex(rest[0])));
    list.usageSheet();
    list.answerUsageSheet(rest[1] == "next" ? 1 : 0);
    if (nav.alerts.empty()) throw InputError("no bill figures");
    const Alert& a = nav.alerts[0];
    if (!json) {
        ctx.out() << a.title << "\n" << a.message << "\n";
        return;
    }
    ctx.out() << nlohmann::ordered_json{{"title", a.title}, {"message", a.message}}.dump() << "\n";
}

void current(Context& ctx, Args& args) {
    bool json = args.flag("--json");
    std::optional<std::string> period = args.option("--period");
    std::optional<std::string> usage = args.option("--usage");
    std::optional<std::string> cost = args.option("--cost");
    std::vector<std::string> rest = args.positionals();
    if (rest.size() != 1) throw UsageError("current needs one METER");
    int periodIndex = 0;
    if (period) {
        static const char* const kPeriods[] = {"day", "week", "month", "quarter", "year"};
        auto p = std::find(std::begin(kPeriods), std::end(kPeriods), *period);
        if (p == std::end(kPeriods)) throw UsageError("--period is day, week, month, quarter or year");
        periodIndex = static_cast<int>(p - std::begin(kPeriods));
    }
    auto number = [](const std::optional<std::string>& text, const char* what) -> std::optional<double> {
        if (!text) return std::nullopt;
        char* end = nullptr;
        double v = std::strtod(text->c_str(), &end);
        if (text->empty() || end != text->c_str() + text->size())
            throw UsageError(std::string(what) + " must be a number");
        return v;
    };
    CurrentViewController screen(ctx.delegate(), static_cast<int>(ctx.meterIndex(rest[0])), periodIndex,
                                 number(usage, "--usage"), number(cost, "--cost"));
    if (!json) {
        printSections(ctx.out(), screen.sections());
        return;
    }
    auto out = nlohmann::ordered_json::array();
    for (const Section& s : screen.sections()) {
        auto rows = nlohmann::ordered_json::array();
        for (const Row& r : s.rows)
            rows.push_back({{"label", r.label}, {"detail", r.detail}});
        out.push_back({{"header", s.header}, {"rows", rows}});
    }
    ctx.out() << out.dump(2) << "\n";
}

}  // namespace

void addReadingsCommands(std::vector<Command>& commands) {
    commands.push_back(
        {"export", "export (METER|--all) [-o FILE]",
         "Writes the CSV export of one meter or of all meters, exactly as the app exports it (ASCII, "
         "or UTF-16 with a byte-order mark when a text needs it), to FILE or to standard output.",
         exportCommand});
    commands.push_back(
        {"readings", "readings METER [--period (delta|day|week|month|quarter|year)] [--bills] [--json]",
         "The readings list: sections by month, each row with its date, register values, and the usage "
         "and cost of the interval it closes, scaled to the period (delta: the whole interval), and "
         "\"Bill\" for a bill. --bills lists bills only, each interval running between bills. --json adds "
         "each "
         "row's index.",
         readings});
    commands.push_back({"bill", "bill METER (since-last|next) [--json]",
                        "The \"Since Last Bill\" or \"Next Bill\" figures, as the alert shows them.", bill});
    commands.push_back(
        {"current", "current METER [--period (day|week|month|quarter|year)] [--usage U] [--cost C] [--json]",
         "The current period summary of the meter's latest interval, with the main screen's current "
         "figures U and C for the period.",
         current});
}

}  // namespace numbrel::cli
