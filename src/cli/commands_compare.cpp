// numbrel-cli compare: the price comparison of a meter as the main screen's power-switch button makes
// it, the request shown and, when a service is configured or given, sent and its answer told.
#include "cli_context.h"
#include "main/price_comparison.h"
#include "price_client.h"
#include "store/document.h"

namespace numbrel::cli {

namespace {

nlohmann::ordered_json alertJson(const Alert& alert) {
    return {{"title", alert.title}, {"message", alert.message}, {"buttons", alert.buttons}};
}

void compare(Context& ctx, Args& args) {
    const bool json = args.flag("--json");
    const bool dual = args.flag("--dual");
    const bool single = args.flag("--single");
    const std::optional<std::string> endpoint = args.option("--endpoint");
    std::vector<std::string> rest = args.positionals();
    if (!json) throw UsageError("compare writes JSON only: add --json");
    if (rest.size() != 1) throw UsageError("compare needs one METER");
    if (dual && single) throw UsageError("--dual and --single exclude each other");
    const int meter = static_cast<int>(ctx.meterIndex(rest[0]));
    NumbrelAppDelegate& app = ctx.delegate();

    nlohmann::ordered_json out;
    if (!comparable((*metersOf(app.settings()))[static_cast<std::size_t>(meter)])) {
        out["eligible"] = false;
        out["alert"] = alertJson(eligibilityAlert());
        ctx.out() << out.dump(2) << "\n";
        throw InputError("the meter cannot be compared");
    }
    // Without a choice both fuels go when the household has both, as "Dual Fuel" would send them.
    const PriceRequest request = priceRequest(app, meter, !single);
    out["eligible"] = true;
    out["dual"] = request.dual;
    out["query"] = "db=" + request.db();
    out["fields"] = toJson(request.fields);
    out["body"] = request.body;

    const std::string service = endpoint.value_or(priceService(app.configuration()));
    if (!service.empty()) {
        if (!usablePriceService(service))
            throw UsageError("the price comparison service must be an http or https address, not " + service);
        net::PriceClient client;
        const PriceReply reply = client.post(priceUrl(service, request.db()), request.body, nullptr);
        if (!reply.error.empty()) ctx.err() << "numbrel-cli: " << reply.error << "\n";
        std::string moreInfo;
        if (std::optional<Alert> alert = comparisonOutcome(app, request, reply, false, moreInfo))
            out["alert"] = alertJson(*alert);
    }
    ctx.out() << out.dump(2) << "\n";
}

}  // namespace

void addCompareCommands(std::vector<Command>& commands) {
    commands.push_back(
        {"compare", "compare METER [--dual|--single] [--endpoint URL] --json",
         "The price comparison of an Electricity or Gas meter in GBP with a postcode and two readings:\n"
         "{\"eligible\", \"dual\", \"query\", \"fields\", \"body\"} for the request. Both fuels go when the\n"
         "meter has exactly one partner of the other fuel at its postcode and house, unless --single.\n"
         "With a service (--endpoint URL, or \"endpoint\" in \"[prices]\" of numbrel.conf) the request\n"
         "is sent and \"alert\" tells the result or the failure. A meter that cannot be compared gives\n"
         "the alert that says why, and exit status 2.",
         compare});
}

}  // namespace numbrel::cli
