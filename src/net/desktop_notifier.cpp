#include "desktop_notifier.h"

#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>

#include "process.h"
#include "settings/reminder_files.h"
#include "store/environment.h"
#include "store/file_ops.h"
#include "store/preferences_store.h"
#include "ui/localize.h"

namespace numbrel::net {

namespace {

bool exists(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0;
}

std::string removeFile(const std::string& path) {
    if (::unlink(path.c_str()) == 0 || errno == ENOENT) return {};
    return path + ": " + std::strerror(errno);
}

int systemctl(std::initializer_list<const char*> args) {
    std::vector<std::string> argv{"systemctl", "--user", "--quiet"};
    argv.insert(argv.end(), args.begin(), args.end());
    return runProgram(argv);
}

}  // namespace

SystemdNotifier::SystemdNotifier(std::string unitFolder) : folder_(std::move(unitFolder)) {}

std::string SystemdNotifier::schedule(const std::vector<Reminder>& reminders) {
    const std::string timer = folder_ + "/" + kReminderTimer, service = folder_ + "/" + kReminderService;
    // The service first: the timer never points at a unit that is not complete.
    if (auto error = writeFileAtomically(FileOps::real(), service, reminderServiceUnit(reminders)))
        return *error;
    if (auto error = writeFileAtomically(FileOps::real(), timer, reminderTimerUnit(reminders))) return *error;
    if (systemctl({"daemon-reload"}) != 0) return "systemctl --user daemon-reload failed";
    if (systemctl({"enable", "--now", kReminderTimer}) != 0) return "the reminder timer could not be enabled";
    // A timer that was running already takes the new instants.
    if (systemctl({"restart", kReminderTimer}) != 0) return "the reminder timer could not be started";
    return {};
}

std::string SystemdNotifier::cancelAll() {
    const std::string timer = folder_ + "/" + kReminderTimer, service = folder_ + "/" + kReminderService;
    if (!exists(timer) && !exists(service)) return {};
    std::string problem;
    if (systemctl({"disable", "--now", kReminderTimer}) != 0)
        problem = "the reminder timer could not be disabled";
    for (const std::string& path : {timer, service})
        if (std::string error = removeFile(path); !error.empty()) problem = error;
    systemctl({"daemon-reload"});
    return problem;
}

CalendarNotifier::CalendarNotifier(std::string path) : path_(std::move(path)) {}

std::string CalendarNotifier::schedule(const std::vector<Reminder>& reminders) {
    auto error =
        writeFileAtomically(FileOps::real(), path_, reminderCalendar(reminders, Environment::systemNow()));
    return error ? *error : std::string();
}

std::string CalendarNotifier::cancelAll() {
    return removeFile(path_);
}

std::string CalendarNotifier::note() const {
    return fill(tr("Reminders are written to the calendar file %@, which calendar apps can subscribe to."),
                {path_});
}

DesktopNotifier::DesktopNotifier()
    : unitFolder_(xdgDirectory("XDG_CONFIG_HOME", ".config") + "/systemd/user"),
      calendarPath_(xdgDirectory("XDG_DATA_HOME", ".local/share") + "/numbrel/reminders.ics") {}

DesktopNotifier::DesktopNotifier(std::string unitFolder, std::string calendarPath, bool systemd)
    : unitFolder_(std::move(unitFolder)), calendarPath_(std::move(calendarPath)), systemd_(systemd) {}

Notifier& DesktopNotifier::backend() {
    if (!backend_) {
        // A user systemd answers when it can tell its environment.
        if (!systemd_) systemd_ = runProgram({"systemctl", "--user", "show-environment"}) == 0;
        if (*systemd_)
            backend_ = std::make_unique<SystemdNotifier>(unitFolder_);
        else
            backend_ = std::make_unique<CalendarNotifier>(calendarPath_);
    }
    return *backend_;
}

std::string DesktopNotifier::schedule(const std::vector<Reminder>& reminders) {
    return backend().schedule(reminders);
}

std::string DesktopNotifier::cancelAll() {
    return backend().cancelAll();
}

std::string DesktopNotifier::note() const {
    return backend_ ? backend_->note() : std::string();
}

}  // namespace numbrel::net
