// Commands over the store as a whole: status, document, meters, validate.
#include <cstdio>

#include "cli_context.h"
#include "store/document.h"
#include "store/meter_record.h"

namespace numbrel::cli {

namespace {

std::string localTime(const Calendar& calendar, Date date) {
    CalendarDate c = calendar.components(date);
    char buf[32];
    std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d", c.year, c.month, c.day, c.hour, c.minute);
    return buf;
}

std::optional<Date> newestDate(const Value& meter) {
    const Array* readings = readingsOf(meter);
    if (!readings || readings->empty()) return std::nullopt;
    const Value* d = (*readings)[0].find("date");
    return d && d->isDate() ? std::optional<Date>(d->date()) : std::nullopt;
}

void requireJson(Args& args, const char* command) {
    if (!args.flag("--json")) throw UsageError(std::string(command) + " writes JSON only: add --json");
}

void status(Context& ctx, Args& args) {
    args.positionals();
    const Calendar& calendar = ctx.delegate().calendar();
    const Array* meters = metersOf(ctx.settings());
    std::ostream& out = ctx.out();
    out << "Store: " << ctx.delegate().store().path()
        << (ctx.delegate().storeReport().existed ? "" : " (new)") << "\n";
    std::size_t count = meters ? meters->size() : 0;
    out << "Meters: " << count << "\n";
    std::optional<Date> latest;
    std::string latestMeter;
    for (std::size_t i = 0; i < count; ++i) {
        const Value& meter = (*meters)[i];
        const Array* readings = readingsOf(meter);
        std::size_t n = readings ? readings->size() : 0;
        std::string formula = registerFormula(meter);
        out << "  " << i << "  " << stringOf(meter, "name") << " (" << stringOf(meter, "type")
            << (formula.empty() ? "" : ", " + formula) << "): " << n << (n == 1 ? " reading" : " readings");
        if (std::optional<Date> d = newestDate(meter)) {
            out << ", latest " << localTime(calendar, *d);
            if (!latest || *d > *latest) {
                latest = d;
                latestMeter = std::string(stringOf(meter, "name"));
            }
        }
        out << "\n";
    }
    out << "Latest reading: " << (latest ? localTime(calendar, *latest) + " (" + latestMeter + ")" : "none")
        << "\n";
}

void document(Context& ctx, Args& args) {
    requireJson(args, "document");
    args.positionals();
    ctx.out() << toJson(ctx.settings()).dump(2) << "\n";
}

void meters(Context& ctx, Args& args) {
    requireJson(args, "meters");
    args.positionals();
    auto list = nlohmann::ordered_json::array();
    const Array* meters = metersOf(ctx.settings());
    for (std::size_t i = 0; meters && i < meters->size(); ++i) {
        const Value& m = (*meters)[i];
        const Array* readings = readingsOf(m);
        std::string formula = registerFormula(m);
        list.push_back({{"index", i},
                        {"name", stringOf(m, "name")},
                        {"type", stringOf(m, "type")},
                        {"registers", integerOf(m, "enabled", 1)},
                        {"formula", formula.empty() ? "single" : formula},
                        {"units", stringOf(m, "units")},
                        {"code", stringOf(m, "code")},
                        {"readings", readings ? readings->size() : 0}});
    }
    ctx.out() << list.dump(2) << "\n";
}

void validate(Context& ctx, Args& args) {
    args.positionals();
    for (const Alert& a : ctx.startupAlerts())
        ctx.out() << a.title << ": " << a.message << "\n";
    const Array* meters = metersOf(ctx.settings());
    ctx.out() << "Validated: " << (meters ? meters->size() : 0) << " meters, version "
              << integerOf(ctx.settings(), "version") << "\n";
    ctx.markChanged();
}

}  // namespace

void addStoreCommands(std::vector<Command>& commands) {
    commands.push_back({"status", "status",
                        "Shows the store, each meter with its number of readings, and the latest reading.",
                        status});
    commands.push_back(
        {"document", "document --json",
         "Writes the validated document as JSON: dates as ISO 8601 UTC with milliseconds, data as "
         "base64, every key kept.",
         document});
    commands.push_back(
        {"meters", "meters --json",
         "Lists the meters: index, name, type, registers, formula, units, currency code and number of "
         "readings.",
         meters});
    commands.push_back(
        {"validate", "validate",
         "Loads and validates the document, saves it, and prints the alerts that start-up would show.",
         validate});
}

}  // namespace numbrel::cli
