// Reminders on a Linux desktop. Where a user systemd answers, a persistent timer with its service in
// $XDG_CONFIG_HOME/systemd/user fires each reminder as a desktop notification, whether the app runs or
// not, across logout and reboot. Elsewhere an iCalendar file ($XDG_DATA_HOME/numbrel/reminders.ics)
// holds them for calendar apps to subscribe to.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "settings/notifier.h"

namespace numbrel::net {

class SystemdNotifier : public Notifier {
public:
    explicit SystemdNotifier(std::string unitFolder);
    std::string schedule(const std::vector<Reminder>& reminders) override;
    std::string cancelAll() override;

private:
    std::string folder_;
};

class CalendarNotifier : public Notifier {
public:
    explicit CalendarNotifier(std::string path);
    std::string schedule(const std::vector<Reminder>& reminders) override;
    std::string cancelAll() override;
    std::string note() const override;

private:
    std::string path_;
};

// The systemd timer where the user's systemd answers, else the calendar file; asked once, on first use.
class DesktopNotifier : public Notifier {
public:
    DesktopNotifier();  // the XDG locations
    DesktopNotifier(std::string unitFolder, std::string calendarPath, bool systemd);
    std::string schedule(const std::vector<Reminder>& reminders) override;
    std::string cancelAll() override;
    std::string note() const override;

private:
    Notifier& backend();
    std::string unitFolder_, calendarPath_;
    std::optional<bool> systemd_;
    std::unique_ptr<Notifier> backend_;
};

}  // namespace numbrel::net
