// The command-line tool's shared machinery: global options, the loaded delegate, errors with their
// exit statuses, JSON conversion of documents, and the command table.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "store/app_delegate.h"
#include "ui/screen.h"

namespace numbrel::cli {

// Exit status 1: the command line itself is wrong.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};
// Exit status 2: the command line is fine but its input (a meter, a time, a file) is not.
struct InputError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct GlobalOptions {
    std::string storePath;
    std::string documentsPath;
    std::optional<Date> now;
    std::string timeZone;
    std::string locale;
    std::string cloudFolder;  // the synced folder (default: cloud.folder in numbrel.conf)
};

class Context {
public:
    Context(GlobalOptions options, std::ostream& out, std::ostream& err);

    // Loads the store and runs start-up; alerts start-up would show go to stderr.
    void start();

    NumbrelAppDelegate& delegate() { return *delegate_; }
    Value& settings() { return delegate_->settings(); }
    const GlobalOptions& options() const { return options_; }
    std::ostream& out() { return out_; }
    std::ostream& err() { return err_; }
    std::vector<Alert>& startupAlerts() { return startupAlerts_; }

    // Marks the document changed, so that it is saved when the command ends.
    void markChanged() { changed_ = true; }
    bool changed() const { return changed_; }
    // Writes the store; throws InputError when it cannot be written.
    void save();

    // A METER argument: a 0-based index or an exact meter name.
    std::size_t meterIndex(const std::string& argument);

private:
    GlobalOptions options_;
    std::ostream& out_;
    std::ostream& err_;
    std::unique_ptr<PreferencesStore> store_;
    std::unique_ptr<NumbrelAppDelegate> delegate_;
    std::vector<Alert> startupAlerts_;
    bool changed_ = false;
};

// A navigator for screens driven from the command line: alerts are recorded to be printed and
// answered, closing the screen is noted, and long work runs at once, with a progress bar on a
// terminal.
class RecordingNavigator : public Navigator {
public:
    void push(std::unique_ptr<Screen>) override {}
    void pop() override { closed = true; }
    void present(const Alert& alert) override {
        alerts.push_back(alert);
        answers.emplace_back();
    }
    void present(const Alert& alert, std::function<void(int)> answered) override {
        alerts.push_back(alert);
        answers.push_back(std::move(answered));
    }
    void dismiss() override {}
    void openUrl(const std::string&) override {}
    void run(Job job) override;

    std::vector<Alert> alerts;
    std::vector<std::function<void(int)>> answers;  // beside alerts: where an answer goes (or nowhere)
    bool closed = false;
};

// Arguments of one command after its name, with simple flag parsing.
class Args {
public:
    explicit Args(std::vector<std::string> args) : args_(std::move(args)) {}
    bool flag(const std::string& name);                          // removes --name when present
    std::optional<std::string> option(const std::string& name);  // removes --name VALUE
    std::vector<std::string> positionals();                      // the rest; unknown --flags are an error
    std::vector<std::string> rest() { return std::exchange(args_, {}); }  // the rest as given
private:
    std::vector<std::string> args_;
};

struct Command {
    std::string name;
    std::string synopsis;  // "status", "document --json"
    std::string help;
    std::function<void(Context&, Args&)> run;
};

// Registers the commands of one area; each area has its own file.
void addStoreCommands(std::vector<Command>& commands);
void addCostCommands(std::vector<Command>& commands);
void addGraphCommands(std::vector<Command>& commands);
void addReadingsCommands(std::vector<Command>& commands);
void addMeterCommands(std::vector<Command>& commands);
void addBackupCommands(std::vector<Command>& commands);
void addSettingsCommands(std::vector<Command>& commands);
void addTransferCommands(std::vector<Command>& commands);
void addCloudCommands(std::vector<Command>& commands);
void addDropboxCommands(std::vector<Command>& commands);
void addCompareCommands(std::vector<Command>& commands);
// restore FILE [--install] and import FILE [--yes [--no-backup]], for commands that fetch the file first.
void restoreCommand(Context& ctx, Args& args);
void importCommand(Context& ctx, Args& args);
// Copies a new backup into the cloud folder, when there is one; the failure, if any.
std::optional<std::string> copyBackupToCloud(Context& ctx, const std::string& name);

// JSON of a value: dates as ISO 8601 UTC with milliseconds, data as base64, every key kept.
nlohmann::ordered_json toJson(const Value& value);

// Every command, in the order --help lists them.
std::vector<Command> allCommands();

// Runs the tool; returns the exit status.
int run(std::span<const std::string> argv, std::ostream& out, std::ostream& err);

}  // namespace numbrel::cli
