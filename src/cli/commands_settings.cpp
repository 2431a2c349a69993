// Commands over the settings: the reminders that would be planned (and planning them for real), and
// `screen`, which drives any screen model of the app as a user would and prints what it shows.
#include <unicode/timezone.h>

#include <cstdlib>
#include <map>

#include "cli_context.h"
#include "costs/tariff_view_controller.h"
#include "desktop_notifier.h"
#include "exchange/backup_view_controller.h"
#include "main/meters_view_controller.h"
#include "main/root_view_controller.h"
#include "main/selection_view_controller.h"
#include "pages_server.h"
#include "plist/date_text.h"
#include "reachability.h"
#include "readings/current_view_controller.h"
#include "readings/readings_view_controller.h"
#include "settings/reminders.h"
#include "settings/reminders_view_controller.h"
#include "settings/settings_view_controller.h"
#include "store/configuration.h"
#include "text_output.h"
#include "ui/screen_stack.h"

namespace numbrel::cli {

namespace {

// "2026-11-24T09:00:00+00:00": an instant with the offset of the device zone.
std::string withOffset(Date at, const Environment& env) {
    const double unix = at.seconds + 978307200.0;
    int32_t raw = 0, dst = 0;
    UErrorCode status = U_ZERO_ERROR;
    env.timeZone().getOffset(unix * 1000.0, false, raw, dst, status);
    const int offset = (raw + dst) / 1000;
    std::string utc = formatIso8601(Date{at.seconds + offset});  // the local wall clock, written as UTC
    char zone[8];
    std::snprintf(zone, sizeof zone, "%c%02d:%02d", offset < 0 ? '-' : '+', std::abs(offset) / 3600,
                  std::abs(offset) / 60 % 60);
    return utc.substr(0, 19) + zone;
}

void reminders(Context& ctx, Args& args) {
    const bool json = args.flag("--json"), plan = args.flag("--plan"), cancel = args.flag("--cancel");
    args.positionals();
    if (plan && cancel) throw UsageError("reminders takes --plan or --cancel, not both");
    NumbrelAppDelegate& app = ctx.delegate();
    std::vector<Reminder> planned = reminderSchedule(app.settings(), app.environment(), app.calendar());
    if (plan || cancel) {
        net::DesktopNotifier notifier;
        std::string problem = cancel || planned.empty() ? notifier.cancelAll() : notifier.schedule(planned);
        if (!problem.empty()) throw InputError(problem);
        if (!notifier.note().empty() && plan) ctx.err() << notifier.note() << "\n";
    }
    if (json) {
        nlohmann::ordered_json out = nlohmann::ordered_json::array();
        for (const Reminder& r : planned)
            out.push_back({{"time", withOffset(r.at, app.environment())}, {"text", r.text}});
        ctx.out() << out.dump(2) << "\n";
    } else if (!cancel) {
        for (const Reminder& r : planned)
            ctx.out() << withOffset(r.at, app.environment()) << "  " << r.text << "\n";
        if (planned.empty()) ctx.out() << "Reminders are off\n";
    }
}

// The app's screen stack without a window: what screens present and push is recorded.
class ScriptedStack : public ScreenStack {
public:
    explicit ScriptedStack(const Configuration& configuration) : configuration_(configuration) {}
    void openUrl(const std::string& url) override { urls.push_back(url); }
    const Reachability& reachability() const override { return network_; }
    // The pages run while the command does: an alert left open is closed when it ends.
    std::unique_ptr<TransferServer> makeTransferServer() override {
        return std::make_unique<net::PagesServer>(net::transferOptions(configuration_), nullptr);
    }

    struct Shown {
        Alert alert;
        std::uint64_t ticket = 0;
    };
    std::vector<Shown> alerts;
    std::vector<std::string> pushedTitles, urls;

protected:
    void alert(std::uint64_t ticket, const Alert& a) override { alerts.push_back({a, ticket}); }
    void pushed(Id id, Screen& screen) override {
        if (depth() > 1) pushedTitles.push_back(screen.title());
        (void)id;
    }

private:
    const Configuration& configuration_;
    net::SystemReachability network_;
};

nlohmann::ordered_json screenJson(Screen& screen) {
    nlohmann::ordered_json sections = nlohmann::ordered_json::array();
    for (const Section& s : screen.sections()) {
        nlohmann::ordered_json rows = nlohmann::ordered_json::array();
        for (const Row& r : s.rows)
            rows.push_back({{"label", r.label},
                            {"detail", r.detail},
                            {"accessory", *accessoryName(r.accessory) ? accessoryName(r.accessory) : "none"},
                            {"tag", r.tag},
                            {"on", r.on},
                            {"enabled", r.enabled}});
        sections.push_back({{"header", s.header}, {"footer", s.footer}, {"rows", rows}});
    }
    return {{"title", screen.title()}, {"sections", sections}};
}

// "3,1" as two numbers.
std::pair<int, int> pairOf(const std::string& option, const std::string& value) {
    std::size_t comma = value.find(',');
    try {
        if (comma != std::string::npos) {
            std::size_t used = 0;
            int a = std::stoi(value.substr(0, comma), &used);
            if (used == comma) {
                std::string second = value.substr(comma + 1);
                int b = second == "on" ? 1 : second == "off" ? 0 : std::stoi(second, &used);
                if (second == "on" || second == "off" || used == second.size()) return {a, b};
            }
        }
    } catch (const std::exception&) {
    }
    throw UsageError(option + " needs two numbers (or a tag and on/off) joined by a comma, not " + value);
}

std::unique_ptr<Screen> makeScreen(Context& ctx, ScriptedStack& stack, const std::string& name,
                                   const std::optional<std::string>& meterArgument) {
    NumbrelAppDelegate& app = ctx.delegate();
    auto meter = [&] { return static_cast<int>(ctx.meterIndex(meterArgument.value_or("0"))); };
    if (name == "settings") return std::make_unique<SettingsViewController>(app, stack);
    if (name == "reminders") return std::make_unique<RemindersViewController>(app);
    if (name == "themes") return std::make_unique<ThemeViewController>(app);
    if (name == "root") return std::make_unique<RootViewController>(app, stack, ctx.options().documentsPath);
    if (name == "readings") return std::make_unique<ReadingsViewController>(app, stack, meter());
    if (name == "current") {
        const int m = meter();
        RootViewController root(app, stack, ctx.options().documentsPath);
        std::optional<double> usage, cost;
        if (auto figure = root.currentFigure(m)) (figure->cost ? cost : usage) = figure->value;
        return std::make_unique<CurrentViewController>(app, m, static_cast<int>(root.period()), usage, cost);
    }
    if (name == "meters") return std::make_unique<MetersViewController>(app, stack);
    if (name == "tariff") return std::make_unique<TariffViewController>(app, stack, meter());
    if (name == "backups")
        return std::make_unique<BackupViewController>(app, stack, ctx.options().documentsPath);
    throw UsageError("no screen named " + name +
                     " (settings, reminders, themes, root, readings, current, meters, tariff, backups)");
}

void screen(Context& ctx, Args& args) {
    const bool json = args.flag("--json");
    std::optional<std::string> meter = args.option("--meter");
    std::vector<std::string> rest = args.rest();
    if (rest.empty() || rest[0].starts_with("--")) throw UsageError("screen needs a NAME");
    ScriptedStack stack(ctx.delegate().configuration());
    const ScreenStack::Id first = stack.open(makeScreen(ctx, stack, rest[0], meter));
    // The main screen is shown: a fresh document starts the tour there, a due date the review question.
    if (rest[0] == "root")
        stack.act(first, [](Screen& s) { static_cast<RootViewController&>(s).appearAction(); });
    const Value before = ctx.settings();

    for (std::size_t i = 1; i < rest.size(); i += 2) {
        const std::string& option = rest[i];
        if (i + 1 >= rest.size()) throw UsageError(option + " needs a value");
        auto [a, b] = pairOf(option, rest[i + 1]);
        std::vector<ScreenStack::Id> ids = stack.ids();
        if (ids.empty()) throw InputError("the screen has closed; " + option + " has nothing to act on");
        const ScreenStack::Id top = ids.back();
        if (option == "--select") {
            stack.act(top, [&](Screen& s) { s.selectRow(a, b); });
        } else if (option == "--flip") {
            stack.act(top, [&](Screen& s) { s.flipSwitch(a, b != 0); });
        } else if (option == "--segment") {
            stack.act(top, [&](Screen& s) { s.chooseSegment(a, b); });
        } else if (option == "--answer") {
            auto shown = std::find_if(stack.alerts.rbegin(), stack.alerts.rend(),
                                      [&](const ScriptedStack::Shown& s) { return s.alert.tag == a; });
            if (shown == stack.alerts.rend())
                throw InputError("no alert with tag " + std::to_string(a) + " is shown");
            if (b < 0 || b >= static_cast<int>(shown->alert.buttons.size()))
                throw InputError("the alert with tag " + std::to_string(a) + " has no button " +
                                 std::to_string(b));
            stack.answer(shown->ticket, b);
        } else {
            throw UsageError("unknown action " + option + " (--select, --flip, --segment, --answer)");
        }
    }

    std::vector<ScreenStack::Id> ids = stack.ids();
    Screen* shown = ids.empty() ? nullptr : stack.screen(ids.back());
    if (json) {
        nlohmann::ordered_json alerts = nlohmann::ordered_json::array();
        for (const auto& s : stack.alerts)
            alerts.push_back({{"tag", s.alert.tag},
                              {"title", s.alert.title},
                              {"message", s.alert.message},
                              {"buttons", s.alert.buttons},
                              {"actionSheet", s.alert.actionSheet}});
        nlohmann::ordered_json out;
        out["screen"] = shown ? screenJson(*shown) : nlohmann::ordered_json();
        out["alerts"] = alerts;
        out["pushed"] = stack.pushedTitles;
        out["opened"] = stack.urls;
        ctx.out() << out.dump(2) << "\n";
    } else {
        if (shown) {
            ctx.out() << shown->title() << "\n";
            printSections(ctx.out(), shown->sections());
        }
        for (const auto& s : stack.alerts)
            ctx.out() << s.alert.title << (s.alert.message.empty() ? "" : ": " + s.alert.message) << "\n";
    }
    if (ctx.settings() != before) ctx.markChanged();
}

}  // namespace

void addSettingsCommands(std::vector<Command>& commands) {
    commands.push_back(
        {"reminders", "reminders [--json] [--plan | --cancel]",
         "Prints the seven reading reminders that leaving the app would plan now (time with the zone's "
         "offset, and text). --plan hands them to the desktop (a systemd user timer, or a calendar file "
         "where no user systemd runs); --cancel takes planned ones back.",
         reminders});
    commands.push_back(
        {"screen", "screen NAME [--meter M] [ACTION ...] [--json]",
         "Drives a screen of the app (settings, reminders, themes, root, readings, current, meters, tariff, "
         "backups) as a user would. ACTION is --select SECTION,ROW, --flip TAG,on|off, --segment TAG,INDEX "
         "or --answer TAG,BUTTON, applied in order to the screen on top. Prints that screen, the alerts "
         "shown and the screens opened, and saves the document when it changed.",
         screen});
}

}  // namespace numbrel::cli
