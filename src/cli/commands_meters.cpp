// Commands that edit meters and their rates: meter (add, rename, delete, move, set), rates, rate-change.
#include <charconv>

#include "cli_context.h"
#include "costs/tariff_view_controller.h"
#include "plist/date_text.h"
#include "readings/meter_editing.h"
#include "store/document.h"
#include "store/meter_record.h"
#include "text_output.h"
#include "ui/localize.h"

namespace numbrel::cli {

namespace {

int indexArgument(const std::string& text, const char* what) {
    int v = 0;
    auto [p, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
    if (ec != std::errc() || p != text.data() + text.size() || v < 0)
        throw UsageError(std::string(what) + " must be a whole number, 0 or more");
    return v;
}

Array& meters(Context& ctx) {
    Array* m = metersOf(ctx.settings());
    if (!m) throw InputError("the document has no meters");
    return *m;
}

void meterCommand(Context& ctx, Args& args) {
    std::vector<std::string> rest = args.positionals();
    if (rest.empty()) throw UsageError("meter needs add, rename, delete, move or set");
    const std::string& verb = rest[0];
    Array& list = meters(ctx);
    if (verb == "add" && rest.size() == 2) {
        if (rest[1].empty()) throw InputError("a meter needs a name");
        list.push_back(newMeter(rest[1], ctx.delegate().environment()));
        ctx.out() << "Added meter " << list.size() - 1 << ": " << rest[1] << "\n";
    } else if (verb == "rename" && rest.size() == 3) {
        std::size_t m = ctx.meterIndex(rest[1]);
        if (auto error = setMeterKey(list[m], "name", rest[2])) throw InputError(*error);
    } else if (verb == "delete" && rest.size() == 2) {
        std::size_t m = ctx.meterIndex(rest[1]);
        const Array* readings = readingsOf(list[m]);
        std::size_t n = readings ? readings->size() : 0;
        ctx.out() << "Deleted meter " << m << ": " << stringOf(list[m], "name") << " (" << n
                  << (n == 1 ? " reading" : " readings") << ")\n";
        list.erase(list.begin() + static_cast<std::ptrdiff_t>(m));
        ctx.settings().set("meter", 0);
    } else if (verb == "move" && rest.size() == 3) {
        std::size_t from = ctx.meterIndex(rest[1]);
        auto to = static_cast<std::size_t>(indexArgument(rest[2], "INDEX"));
        if (to >= list.size()) throw InputError("there is no position " + rest[2]);
        Value moved = std::move(list[from]);
        list.erase(list.begin() + static_cast<std::ptrdiff_t>(from));
        list.insert(list.begin() + static_cast<std::ptrdiff_t>(to), std::move(moved));
        ctx.settings().set("meter", 0);
    } else if (verb == "set" && rest.size() == 4) {
        std::size_t m = ctx.meterIndex(rest[1]);
        if (auto error = setMeterKey(list[m], rest[2], rest[3])) throw InputError(*error);
    } else {
        throw UsageError(
            "meter add NAME | rename METER NAME | delete METER | move METER INDEX | set METER KEY VALUE");
    }
    ctx.markChanged();
}

// The tariff editor's rows from the fixed charge on, then each rate change as its screen shows it.
void printRates(Context& ctx, int meter) {
    RecordingNavigator nav;
    TariffViewController tariff(ctx.delegate(), nav, meter);
    std::vector<Section> sections = tariff.sections();
    const Value& m = ctx.delegate().meter(meter);
    ctx.out() << stringOf(m, "name") << "\n";
    // The meter's own properties and its billed units come first: the rates start after them.
    sections.erase(sections.begin(), sections.begin() + std::min<std::size_t>(2, sections.size()));
    for (Section& s : sections)
        std::erase_if(s.rows, [](const Row& r) { return r.label == tr("Add rate change"); });
    printSections(ctx.out(), sections);
    const Array* previous = arrayOf(m, "previous");
    for (std::size_t n = 0; previous && n < previous->size(); ++n) {
        ctx.out() << "\n" << tr("Rates") << " " << n << "\n";
        TariffViewController change(ctx.delegate(), nav, meter, static_cast<int>(n));
        printSections(ctx.out(), change.sections());
    }
}

void rates(Context& ctx, Args& args) {
    bool json = args.flag("--json");
    std::vector<std::string> rest = args.positionals();
    if (rest.size() != 1) throw UsageError("rates needs one METER");
    std::size_t index = ctx.meterIndex(rest[0]);
    if (!json) {
        printRates(ctx, static_cast<int>(index));
        return;
    }
    const Value& m = meters(ctx)[index];
    nlohmann::ordered_json out;
    for (const char* key : {"fixed", "period", "discount", "period2", "percent", "tax", "tariffs"})
        if (const Value* v = m.find(key)) out[key] = toJson(*v);
    out["previous"] = m.find("previous") ? toJson(*m.find("previous")) : nlohmann::ordered_json::array();
    ctx.out() << out.dump(2) << "\n";
}

void rateChange(Context& ctx, Args& args) {
    std::vector<std::string> rest = args.positionals();
    if (rest.size() < 2) throw UsageError("rate-change add METER | delete METER N | date METER N TIME");
    Value& m = meters(ctx)[ctx.meterIndex(rest[1])];
    const Array* previous = arrayOf(m, "previous");
    auto existing = [&](const std::string& text) {
        int n = indexArgument(text, "N");
        if (!previous || n >= static_cast<int>(previous->size()))
            throw InputError("there is no rate change " + text);
        return n;
    };
    if (rest[0] == "add" && rest.size() == 2) {
        addRateChange(m, ctx.delegate().calendar(), ctx.delegate().environment().now());
    } else if (rest[0] == "delete" && rest.size() == 3) {
        deleteRateChange(m, existing(rest[2]));
    } else if (rest[0] == "date" && rest.size() == 4) {
        int n = existing(rest[2]);
        std::optional<Date> to = parseIso8601(rest[3]);
        if (!to) throw UsageError("TIME is ISO 8601 with an offset or Z");
        dateRateChange(m, n, *to);
    } else {
        throw UsageError("rate-change add METER | delete METER N | date METER N TIME");
    }
    ctx.markChanged();
}

}  // namespace

void addMeterCommands(std::vector<Command>& commands) {
    commands.push_back(
        {"meter",
         "meter (add NAME | rename METER NAME | delete METER | move METER INDEX | set METER KEY VALUE)",
         "Edits the meters. set takes name, type, digits, precision, direction (up, down, other), "
         "units, factor (0 is stored as 1), code (a currency of the symbol table), fixed, period, "
         "discount, period2, percent, tax, postcode (UK, upper-cased), house or notes, with the "
         "editors' rules.",
         meterCommand});
    commands.push_back(
        {"rates", "rates METER [--json]",
         "The meter's current rates and its rate changes, as the tariff editor shows them; --json gives "
         "their keys as the document holds them.",
         rates});
    commands.push_back(
        {"rate-change", "rate-change (add METER | delete METER N | date METER N TIME)",
         "Copies the current rates into a rate change in force up to the end of today, deletes one, "
         "or sets when one ends (its \"to\").",
         rateChange});
}

}  // namespace numbrel::cli
