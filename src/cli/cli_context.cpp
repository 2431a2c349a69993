#include "cli_context.h"

#include <unistd.h>
#include <algorithm>

#include <charconv>
#include <cstdio>
#include <sstream>

#include "plist/date_text.h"
#include "program_options.h"
#include "store/configuration.h"
#include "store/document.h"

namespace numbrel::cli {

namespace {

std::string base64(const Data& data) {
    static constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    std::size_t i = 0;
    for (; i + 2 < data.size(); i += 3) {
        unsigned n = (data[i] << 16) | (data[i + 1] << 8) | data[i + 2];
        for (int k = 18; k >= 0; k -= 6)
            out += kAlphabet[(n >> k) & 63];
    }
    if (i + 1 == data.size()) {
        unsigned n = data[i] << 16;
        out += kAlphabet[(n >> 18) & 63];
        out += kAlphabet[(n >> 12) & 63];
        out += "==";
    } else if (i + 2 == data.size()) {
        unsigned n = (data[i] << 16) | (data[i + 1] << 8);
        out += kAlphabet[(n >> 18) & 63];
        out += kAlphabet[(n >> 12) & 63];
        out += kAlphabet[(n >> 6) & 63];
        out += '=';
    }
    return out;
}

// The global options with their help, in columns: "  --store FILE      the preferences store ...".
void printGlobalHelp(std::ostream& to) {
    to << "usage: numbrel-cli";
    auto synopsis = [&](const OptionText& o) {
        to << " [" << o.name << (*o.value ? " " : "") << o.value << "]";
    };
    for (const OptionText& o : kSharedOptions)
        synopsis(o);
    for (const OptionText& o : kCliOptions)
        synopsis(o);
    to << " COMMAND ...\n\n";
    // The help starts in column 20 and wraps before column 100.
    auto line = [&](const OptionText& o) {
        std::string text = std::string("  ") + o.name + (*o.value ? " " : "") + o.value;
        std::size_t column = text.size();
        std::istringstream words(o.help);
        std::string word;
        bool first = true;
        while (words >> word) {
            if (first || column + 1 + word.size() > 100) {
                if (!first || column >= 20) text += "\n", column = 0;
                text += std::string(20 - column, ' ');
                column = 20;
            } else {
                text += ' ';
                ++column;
            }
            text += word;
            column += word.size();
            first = false;
        }
        to << text << "\n";
    };
    for (const OptionText& o : kSharedOptions)
        line(o);
    for (const OptionText& o : kCliOptions)
        line(o);
    to << "\nA METER argument is a 0-based index or an exact meter name. Run COMMAND --help for details.\n"
          "\ncommands:\n";
}

}  // namespace

void RecordingNavigator::run(Job job) {
    // A bar on standard error when it is a terminal, for work long enough to report progress.
    const bool terminal = ::isatty(STDERR_FILENO) == 1;
    bool drawn = false;
    Progress progress;
    if (terminal)
        progress = [&](double done) {
            const int width = 40, filled = static_cast<int>(done * width);
            std::fprintf(stderr, "\r%s [%s%s] %3d%%", job.title.c_str(), std::string(filled, '#').c_str(),
                         std::string(width - filled, ' ').c_str(), static_cast<int>(done * 100));
            drawn = true;
            return true;
        };
    std::function<void()> apply = job.work(progress);
    if (drawn) std::fprintf(stderr, "\r%*s\r", 60 + static_cast<int>(job.title.size()), "");
    if (apply) apply();
}

Context::Context(GlobalOptions options, std::ostream& out, std::ostream& err)
    : options_(std::move(options)), out_(out), err_(err) {}

void Context::start() {
    Environment env = Environment::system();
    Environment configured(
        options_.locale.empty() ? env.localeId() : options_.locale,
        options_.timeZone.empty() ? env.timeZoneId() : options_.timeZone,
        options_.now ? fixedClock(*options_.now) : Environment::Clock(&Environment::systemNow));
    store_ = std::make_unique<PreferencesStore>(options_.storePath.empty() ? defaultStorePath()
                                                                           : options_.storePath);
    delegate_ = std::make_unique<NumbrelAppDelegate>(std::move(configured), *store_);
    delegate_->setConfiguration(Configuration::load(defaultConfigurationPath()));
    for (const std::string& problem : delegate_->configuration().problems())
        err_ << "numbrel-cli: " << problem << "\n";
    delegate_->applicationDidFinishLaunching();
    startupAlerts_ = delegate_->takeAlerts();
    for (const Alert& a : startupAlerts_) {
        if (a.warning) err_ << "numbrel-cli: " << a.message << "\n";
    }
}

void Context::save() {
    if (auto error = delegate_->saveSettings()) throw InputError("the store could not be saved: " + *error);
}

std::size_t Context::meterIndex(const std::string& argument) {
    const Array* meters = metersOf(settings());
    std::size_t count = meters ? meters->size() : 0;
    std::size_t index = 0;
    auto [p, ec] = std::from_chars(argument.data(), argument.data() + argument.size(), index);
    if (ec == std::errc() && p == argument.data() + argument.size()) {
        if (index < count) return index;
        throw InputError("there is no meter " + argument + " (" + std::to_string(count) + " meters)");
    }
    for (std::size_t i = 0; i < count; ++i)
        if (stringOf((*meters)[i], "name") == argument) return i;
    throw InputError("there is no meter named \"" + argument + "\"");
}

bool Args::flag(const std::string& name) {
    auto it = std::find(args_.begin(), args_.end(), name);
    if (it == args_.end()) return false;
    args_.erase(it);
    return true;
}

std::optional<std::string> Args::option(const std::string& name) {
    auto it = std::find(args_.begin(), args_.end(), name);
    if (it == args_.end()) return std::nullopt;
    if (it + 1 == args_.end()) throw UsageError(name + " needs a value");
    std::string value = *(it + 1);
    args_.erase(it, it + 2);
    return value;
}

std::vector<std::string> Args::positionals() {
    for (const std::string& a : args_) {
        // Negative numbers are values, not options.
        if (a.size() > 1 && a[0] == '-' && !(a[1] >= '0' && a[1] <= '9') && a[1] != '.')
            throw UsageError("unknown option " + a);
    }
    return args_;
}

nlohmann::ordered_json toJson(const Value& value) {
    switch (value.type()) {
        case Value::Type::Bool:
            return value.boolean();
        case Value::Type::Integer:
            return value.integer();
        case Value::Type::Real:
            return value.real();
        case Value::Type::Date:
            return formatIso8601(value.date());
        case Value::Type::String:
            return value.string();
        case Value::Type::Data:
            return base64(value.data());
        case Value::Type::Uid:
            return nlohmann::ordered_json{{"CF$UID", value.uidValue()}};
        case Value::Type::Array: {
            auto out = nlohmann::ordered_json::array();
            for (const Value& v : value.array())
                out.push_back(toJson(v));
            return out;
        }
        case Value::Type::Dictionary: {
            auto out = nlohmann::ordered_json::object();
            for (const auto& e : value.dictionary())
                out[e.key.str()] = toJson(e.value);
            return out;
        }
    }
    return nullptr;
}

std::vector<Command> allCommands() {
    std::vector<Command> commands;
    addStoreCommands(commands);
    addCostCommands(commands);
    addGraphCommands(commands);
    addReadingsCommands(commands);
    addMeterCommands(commands);
    addBackupCommands(commands);
    addSettingsCommands(commands);
    addTransferCommands(commands);
    addCloudCommands(commands);
    addDropboxCommands(commands);
    addCompareCommands(commands);
    return commands;
}

int run(std::span<const std::string> argv, std::ostream& out, std::ostream& err) {
    const std::vector<Command> commands = allCommands();
    auto printHelp = [&](std::ostream& to) {
        printGlobalHelp(to);
        for (const Command& c : commands)
            to << "  " << c.synopsis << "\n";
    };

    try {
        GlobalOptions options;
        std::size_t i = 0;
        auto value = [&](const std::string& name) -> std::string {
            if (i + 1 >= argv.size()) throw UsageError(name + " needs a value");
            return argv[++i];
        };
        for (; i < argv.size(); ++i) {
            const std::string& a = argv[i];
            if (a == "--store") {
                options.storePath = value(a);
            } else if (a == "--documents") {
                options.documentsPath = value(a);
            } else if (a == "--cloud") {
                options.cloudFolder = value(a);
            } else if (a == "--now") {
                std::string text = value(a);
                options.now = parseIso8601(text);
                if (!options.now)
                    throw UsageError(
                        "--now needs a real date and time in ISO 8601 with an offset or Z "
                        "(2026-11-22T12:00:00Z), not " +
                        text);
            } else if (a == "--tz") {
                options.timeZone = value(a);
            } else if (a == "--locale") {
                options.locale = value(a);
            } else if (a == "--help" || a == "-h" || a == "help") {
                printHelp(out);
                return 0;
            } else if (!a.empty() && a[0] == '-') {
                throw UsageError("unknown option " + a);
            } else {
                break;
            }
        }
        if (i >= argv.size()) {
            printHelp(err);
            return 1;
        }
        const std::string& name = argv[i];
        auto command =
            std::find_if(commands.begin(), commands.end(), [&](const Command& c) { return c.name == name; });
        if (command == commands.end())
            throw UsageError("unknown command " + name + " (see numbrel-cli --help)");
        std::vector<std::string> rest(argv.begin() + static_cast<std::ptrdiff_t>(i) + 1, argv.end());
        if (std::find(rest.begin(), rest.end(), "--help") != rest.end()) {
            out << "usage: numbrel-cli [global options] " << command->synopsis << "\n\n"
                << command->help << "\n";
            return 0;
        }
        if (options.documentsPath.empty()) options.documentsPath = defaultDocumentsPath();
        Context context(std::move(options), out, err);
        Args args(std::move(rest));
        context.start();
        command->run(context, args);
        if (context.changed()) context.save();
        return 0;
    } catch (const UsageError& e) {
        err << "numbrel-cli: " << e.what() << "\n";
        return 1;
    } catch (const InputError& e) {
        err << "numbrel-cli: " << e.what() << "\n";
        return 2;
    }
}

}  // namespace numbrel::cli
