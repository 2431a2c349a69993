// Commands over readings: export.
#include <fstream>

#include "cli_context.h"
#include "readings/csv_export.h"

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

}  // namespace

void addReadingsCommands(std::vector<Command>& commands) {
    commands.push_back(
        {"export", "export (METER|--all) [-o FILE]",
         "Writes the CSV export of one meter or of all meters, exactly as the app exports it (ASCII, "
         "or UTF-16 with a byte-order mark when a text needs it), to FILE or to standard output.",
         exportCommand});
}

}  // namespace numbrel::cli
