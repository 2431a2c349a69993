#include "settings/reminder_files.h"

#include <cmath>
#include <cstdio>
#include <ctime>

namespace numbrel {

namespace {

constexpr double kUnixEpoch = 978307200.0;  // 2001-01-01 in seconds since 1970

std::tm utc(Date at) {
    std::time_t t = static_cast<std::time_t>(std::floor(at.seconds + kUnixEpoch));
    std::tm parts{};
    gmtime_r(&t, &parts);
    return parts;
}

std::string format(Date at, const char* pattern) {
    std::tm parts = utc(at);
    char text[64];
    std::strftime(text, sizeof text, pattern, &parts);
    return text;
}

// A value of an Environment= assignment: quoted, with what systemd would read as a quote, an escape
// or a specifier escaped, and control characters left out.
std::string systemdQuoted(const std::string& text) {
    std::string out = "\"";
    for (char c : text) {
        if (static_cast<unsigned char>(c) < 0x20) c = ' ';
        if (c == '"' || c == '\\') out += '\\';
        if (c == '%') out += '%';
        out += c;
    }
    return out + "\"";
}

// A TEXT value of RFC 5545: backslash, semicolon, comma and line breaks escaped.
std::string calendarText(const std::string& text) {
    std::string out;
    for (char c : text) {
        if (c == '\\' || c == ';' || c == ',') out += '\\';
        if (c == '\n') {
            out += "\\n";
            continue;
        }
        if (static_cast<unsigned char>(c) < 0x20) continue;
        out += c;
    }
    return out;
}

// A content line folded at 75 octets (a CRLF and a space before each continuation), never inside a
// UTF-8 sequence.
void addLine(std::string& out, const std::string& line) {
    std::size_t start = 0, width = 75;
    while (line.size() - start > width) {
        std::size_t end = start + width;
        while (end > start && (static_cast<unsigned char>(line[end]) & 0xC0) == 0x80)
            --end;
        out.append(line, start, end - start);
        out += "\r\n ";
        start = end;
        width = 74;  // the leading space counts
    }
    out.append(line, start);
    out += "\r\n";
}

}  // namespace

std::string reminderTimerUnit(const std::vector<Reminder>& reminders) {
    std::string out = "[Unit]\nDescription=Numbrel meter reading reminders\n\n[Timer]\n";
    for (const Reminder& r : reminders)
        out += "OnCalendar=" + format(r.at, "%Y-%m-%d %H:%M:%S") + " UTC\n";
    out += "Persistent=true\nAccuracySec=1s\n";
    out += std::string("Unit=") + kReminderService + "\n\n[Install]\nWantedBy=timers.target\n";
    return out;
}

std::string reminderServiceUnit(const std::vector<Reminder>& reminders) {
    std::string due = reminders.empty() ? std::string() : reminders.front().text;
    std::string overdue = reminders.size() > 1 ? reminders[1].text : due;
    long long until =
        reminders.empty()
            ? 0
            : static_cast<long long>(std::floor(reminders.front().at.seconds + kUnixEpoch)) + 86400;
    std::string out = "[Unit]\nDescription=Numbrel meter reading reminder\n\n[Service]\nType=oneshot\n";
    out += "Environment=" + systemdQuoted("DUE=" + due) + "\n";
    out += "Environment=" + systemdQuoted("OVERDUE=" + overdue) + "\n";
    out += "Environment=UNTIL=" + std::to_string(until) + "\n";
    // $$ and %% are a plain $ and % to systemd; the texts reach notify-send as variables, unquoted by
    // no shell.
    out +=
        "ExecStart=/bin/sh -c 'TEXT=\"$$OVERDUE\"; [ \"$$(date +%%s)\" -lt \"$$UNTIL\" ] && TEXT=\"$$DUE\"; "
        "exec notify-send --app-name=Numbrel --icon=org.numbrel.Numbrel "
        "--hint=string:desktop-entry:org.numbrel.Numbrel "
        "\"$$TEXT\"'\n";
    return out;
}

std::string reminderCalendar(const std::vector<Reminder>& reminders, Date stamp) {
    std::string out;
    addLine(out, "BEGIN:VCALENDAR");
    addLine(out, "VERSION:2.0");
    addLine(out, "PRODID:-//Numbrel//Reading reminders//EN");
    addLine(out, "CALSCALE:GREGORIAN");
    addLine(out, "METHOD:PUBLISH");
    for (const Reminder& r : reminders) {
        addLine(out, "BEGIN:VEVENT");
        addLine(out, "UID:reminder-" + format(r.at, "%Y%m%dT%H%M%SZ") + "@numbrel");
        addLine(out, "DTSTAMP:" + format(stamp, "%Y%m%dT%H%M%SZ"));
        addLine(out, "DTSTART:" + format(r.at, "%Y%m%dT%H%M%SZ"));
        addLine(out, "DURATION:PT15M");
        addLine(out, "SUMMARY:" + calendarText(r.text));
        addLine(out, "TRANSP:TRANSPARENT");
        addLine(out, "BEGIN:VALARM");
        addLine(out, "ACTION:DISPLAY");
        addLine(out, "DESCRIPTION:" + calendarText(r.text));
        addLine(out, "TRIGGER:PT0S");
        addLine(out, "END:VALARM");
        addLine(out, "END:VEVENT");
    }
    addLine(out, "END:VCALENDAR");
    return out;
}

}  // namespace numbrel
