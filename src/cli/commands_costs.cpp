// Commands over the usage and cost engine and the value formatters: engine, format.
#include <charconv>
#include <cstdlib>

#include "cli_context.h"
#include "plist/date_text.h"
#include "store/document.h"

namespace numbrel::cli {

namespace {

int integerArgument(const std::string& text, const char* what) {
    int value = 0;
    auto [p, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (ec != std::errc() || p != text.data() + text.size())
        throw UsageError(std::string(what) + " must be a whole number, not \"" + text + "\"");
    return value;
}

double numberArgument(const std::string& text, const char* what) {
    char* end = nullptr;
    double value = std::strtod(text.c_str(), &end);
    if (text.empty() || end != text.c_str() + text.size())
        throw UsageError(std::string(what) + " must be a number, not \"" + text + "\"");
    return value;
}

Date timeArgument(const std::string& text, const char* what) {
    std::optional<Date> d = parseIso8601(text);
    if (!d) throw UsageError(std::string(what) + " needs an ISO 8601 time with an offset or Z, not " + text);
    return *d;
}

void engine(Context& ctx, Args& args) {
    if (!args.flag("--json")) throw UsageError("engine writes JSON only: add --json");
    bool yearAgo = args.flag("--year-ago");
    std::optional<std::string> registerText = args.option("--register");
    std::optional<std::string> rateText = args.option("--rate");
    std::optional<std::string> fromText = args.option("--from");
    std::optional<std::string> toText = args.option("--to");
    std::vector<std::string> rest = args.positionals();
    if (rest.empty()) throw UsageError("engine needs a METER");
    int meter = static_cast<int>(ctx.meterIndex(rest[0]));
    Engine e = ctx.delegate().engine();
    nlohmann::ordered_json out;
    if (yearAgo) {
        if (rest.size() != 1) throw UsageError("engine METER --year-ago takes no readings");
        out["yearAgo"] = e.yearAgo(meter);
        ctx.out() << out.dump() << "\n";
        return;
    }
    if (rest.size() != 3) throw UsageError("engine needs METER OLDER NEWER");
    int older = integerArgument(rest[1], "OLDER"), newer = integerArgument(rest[2], "NEWER");
    int reg = registerText ? integerArgument(*registerText, "--register") : 0;
    if (reg < 0 || reg > 3) throw UsageError("--register is 0 (the whole meter) or 1 to 3");
    if (rateText) {
        if (!fromText || !toText) throw UsageError("--rate needs --from and --to");
        int rate = integerArgument(*rateText, "--rate");
        Date from = timeArgument(*fromText, "--from"), to = timeArgument(*toText, "--to");
        out["cost"] = e.cost(meter, reg, older, newer, rate, from, to);
        out["fixed"] = e.fixed(meter, rate, from, to);
    } else {
        if (fromText || toText) throw UsageError("--from and --to go with --rate");
        out["days"] = e.days(meter, older, newer);
        out["usage"] = e.usage(meter, reg, older, newer);
        out["cost"] = e.cost(meter, reg, older, newer);
        out["costNow"] = e.costNow(meter, reg, older, newer);
        out["fixed"] = e.fixed(meter, older, newer);
    }
    ctx.out() << out.dump() << "\n";
}

void format(Context& ctx, Args& args) {
    std::optional<std::string> meterText = args.option("--meter");
    std::optional<std::string> precisionText = args.option("--precision");
    std::vector<std::string> rest = args.positionals();
    if (rest.size() != 2) throw UsageError("format needs a KIND and a VALUE");
    if (!meterText) throw UsageError("format needs --meter METER");
    const std::string& kind = rest[0];
    double value = numberArgument(rest[1], "VALUE");
    int precision = precisionText ? integerArgument(*precisionText, "--precision") : -1;
    const Value& meter = (*metersOf(ctx.settings()))[ctx.meterIndex(*meterText)];
    const Formatter& f = ctx.delegate().formatter();
    std::string text;
    if (kind == "cost") {
        text = f.formatCost(value, meter);
    } else if (kind == "cost7") {
        text = f.formatCost(value, meter, precision);
    } else if (kind == "double") {
        text = f.formatDouble(value, meter, precision);
    } else if (kind == "reading") {
        text = f.formatReading(value, meter);
    } else if (kind == "usage") {
        text = f.formatUsage(value, meter);
    } else {
        throw UsageError("KIND is one of cost, cost7, double, reading, usage");
    }
    ctx.out() << text << "\n";
}

}  // namespace

void addCostCommands(std::vector<Command>& commands) {
    commands.push_back(
        {"engine",
         "engine METER (OLDER NEWER [--rate N --from TIME --to TIME] | --year-ago) [--register R] --json",
         "The engine over a span of readings (indexes, 0 = newest), per day as the engine returns them:\n"
         "  engine METER OLDER NEWER --json             {\"days\",\"usage\",\"cost\",\"costNow\",\"fixed\"}\n"
         "  engine METER OLDER NEWER --rate N --from TIME --to TIME --json\n"
         "                                              {\"cost\",\"fixed\"} totals at one rate set\n"
         "                                              (N: index of a rate change, -1 the current rates)\n"
         "  engine METER --year-ago --json              {\"yearAgo\": index of the reading a year back}\n"
         "--register R: 0 the whole meter (default), 1 to 3 one register.",
         engine});
    commands.push_back(
        {"format", "format (cost|cost7|double|reading|usage) VALUE --meter METER [--precision P]",
         "Formats VALUE as the screens show it for the meter: cost (its currency), cost7 (a rate, up "
         "to 7 decimals), double (P decimals, or up to 7 when P is negative or absent), reading (the "
         "dial's digits) or usage.",
         format});
}

}  // namespace numbrel::cli
