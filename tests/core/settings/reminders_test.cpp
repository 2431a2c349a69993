#include "settings/reminders.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

#include "plist/date_text.h"
#include "settings/reminder_files.h"
#include "settings/reminders_view_controller.h"
#include "store/app_delegate.h"
#include "store/calendar.h"
#include "support/app_fixture.h"
#include "support/test_support.h"

namespace numbrel {
namespace {

using test::at;

// The seven reminders planned at a local time in a zone, for a document with these settings.
std::vector<Reminder> planned(const std::string& kind, int on, int at100, const std::string& now,
                              const std::string& zone = "Europe/London") {
    Environment env = test::pinnedEnvironment("en_GB", zone, now);
    Calendar calendar(env);
    Value settings = Value::makeDictionary({{"reminders", kind}, {"on", on}, {"at", at100}});
    return reminderSchedule(settings, env, calendar);
}

TEST(ReminderSchedule, DailyStartsTomorrowEvenBeforeTodaysHour) {
    auto r = planned("Daily", 0, 900, "2026-03-03T08:00:00Z");
    ASSERT_EQ(r.size(), 7u);
    EXPECT_EQ(r[0].at, at("2026-03-04T09:00:00Z"));
    EXPECT_EQ(r[6].at, at("2026-03-10T09:00:00Z"));
    EXPECT_EQ(r[0].text, "Meter readings are due today");
    for (std::size_t i = 1; i < 7; ++i)
        EXPECT_EQ(r[i].text, "Meter readings are overdue");
    // Minutes are dropped: every reminder lies on the hour.
    EXPECT_EQ(planned("Daily", 0, 1700, "2026-03-03T08:59:59Z")[0].at, at("2026-03-04T17:00:00Z"));
}

TEST(ReminderSchedule, WeeklyOnTheChosenDayAndAWeekOnWhenThatIsToday) {
    // 2026-11-23 is a Monday.
    EXPECT_EQ(planned("Weekly", 0, 900, "2026-11-23T08:00:00Z")[0].at, at("2026-11-30T09:00:00Z"));
    EXPECT_EQ(planned("Weekly", 2, 900, "2026-11-23T08:00:00Z")[0].at, at("2026-11-25T09:00:00Z"));
    EXPECT_EQ(planned("Weekly", 6, 900, "2026-11-23T08:00:00Z")[0].at, at("2026-11-29T09:00:00Z"));
    // From a Saturday: Friday is six days on, Sunday one.
    EXPECT_EQ(planned("Weekly", 4, 0, "2026-11-28T12:00:00Z")[0].at, at("2026-12-04T00:00:00Z"));
    EXPECT_EQ(planned("Weekly", 6, 0, "2026-11-28T12:00:00Z")[0].at, at("2026-11-29T00:00:00Z"));
    // The weekday is the local one: 23:30 on Sunday in New York is Monday in UTC.
    auto ny = planned("Weekly", 0, 900, "2026-11-23T04:30:00Z", "America/New_York");
    EXPECT_EQ(ny[0].at, at("2026-11-23T14:00:00Z"));  // Monday 09:00 EST, the next day there
}

TEST(ReminderSchedule, MonthlyGoesToNextMonthOnOrAfterTheDate) {
    EXPECT_EQ(planned("Monthly", 27, 1000, "2026-12-28T08:00:00Z")[0].at, at("2027-01-28T10:00:00Z"));
    EXPECT_EQ(planned("Monthly", 27, 1000, "2026-12-27T08:00:00Z")[0].at, at("2026-12-28T10:00:00Z"));
    EXPECT_EQ(planned("Monthly", 0, 1000, "2026-11-15T08:00:00Z")[0].at, at("2026-12-01T10:00:00Z"));
    // Values out of range in a restored document are held to the rows that exist.
    EXPECT_EQ(planned("Monthly", 99, 9900, "2026-11-15T08:00:00Z")[0].at, at("2026-11-28T23:00:00Z"));
}

TEST(ReminderSchedule, AWeekAcrossTheClockChangeKeepsTheWallClockHour) {
    // London goes back an hour on 2026-10-25: 09:00 is 08:00Z before and 09:00Z after.
    auto r = planned("Daily", 0, 900, "2026-10-22T12:00:00Z");
    EXPECT_EQ(r[0].at, at("2026-10-23T08:00:00Z"));
    EXPECT_EQ(r[1].at, at("2026-10-24T08:00:00Z"));
    EXPECT_EQ(r[2].at, at("2026-10-25T09:00:00Z"));
    EXPECT_EQ(r[6].at, at("2026-10-29T09:00:00Z"));
}

TEST(ReminderSchedule, OffOrUnknownPlansNothing) {
    EXPECT_TRUE(planned("Off", 0, 900, "2026-03-03T08:00:00Z").empty());
    EXPECT_TRUE(planned("Hourly", 0, 900, "2026-03-03T08:00:00Z").empty());
}

TEST(ReminderLabels, TwelveHourClockAndOrdinals) {
    EXPECT_EQ(reminderTimeLabel(0), "12:00 am");
    EXPECT_EQ(reminderTimeLabel(1), "01:00 am");
    EXPECT_EQ(reminderTimeLabel(11), "11:00 am");
    EXPECT_EQ(reminderTimeLabel(12), "12:00 pm");
    EXPECT_EQ(reminderTimeLabel(13), "01:00 pm");
    EXPECT_EQ(reminderTimeLabel(23), "11:00 pm");
    EXPECT_EQ(reminderDateLabel(0), "1st");
    EXPECT_EQ(reminderDateLabel(1), "2nd");
    EXPECT_EQ(reminderDateLabel(2), "3rd");
    EXPECT_EQ(reminderDateLabel(10), "11th");
    EXPECT_EQ(reminderDateLabel(20), "21st");
    EXPECT_EQ(reminderDateLabel(22), "23rd");
    EXPECT_EQ(reminderDateLabel(27), "28th");
}

TEST(ReminderLabels, GermanReadsA24HourClock) {
    test::InLanguage german("de");
    EXPECT_EQ(reminderTimeLabel(0), "00:00");
    EXPECT_EQ(reminderTimeLabel(13), "13:00");
    EXPECT_EQ(reminderTimeLabel(23), "23:00");
    EXPECT_EQ(reminderDateLabel(0), "1.");
}

class RemindersScreen : public test::AppFixture {};

TEST_F(RemindersScreen, SectionsFollowTheKindAndChoicesAreStored) {
    RemindersViewController screen(app_, "Reminders go to a calendar file");
    std::vector<Section> s = screen.sections();
    ASSERT_EQ(s.size(), 1u);  // "Off"
    EXPECT_EQ(s[0].rows[0].accessory, Accessory::Check);
    EXPECT_EQ(s[0].footer, "Reminders go to a calendar file");

    screen.selectRow(0, 1);  // Daily: the time rows
    s = screen.sections();
    ASSERT_EQ(s.size(), 2u);
    EXPECT_EQ(s[1].header, "Time");
    ASSERT_EQ(s[1].rows.size(), 24u);
    EXPECT_EQ(s[1].rows[13].label, "01:00 pm");
    screen.selectRow(1, 13);
    EXPECT_EQ(integerOf(app_.settings(), "at"), 1300);
    EXPECT_EQ(screen.sections()[1].rows[13].accessory, Accessory::Check);

    app_.settings().set("on", 5);
    screen.selectRow(0, 2);  // Weekly resets the day
    EXPECT_EQ(stringOf(app_.settings(), "reminders"), "Weekly");
    EXPECT_EQ(integerOf(app_.settings(), "on"), 0);
    s = screen.sections();
    ASSERT_EQ(s.size(), 3u);
    EXPECT_EQ(s[1].header, "Day");
    EXPECT_EQ(s[1].rows[6].label, "Sunday");
    EXPECT_EQ(s[2].header, "Time");
    screen.selectRow(1, 6);
    EXPECT_EQ(integerOf(app_.settings(), "on"), 6);

    screen.selectRow(0, 3);
    s = screen.sections();
    EXPECT_EQ(s[1].header, "Date");
    ASSERT_EQ(s[1].rows.size(), 28u);
    EXPECT_EQ(s[1].rows[21].label, "22nd");
    EXPECT_EQ(integerOf(app_.settings(), "on"), 0);
    EXPECT_EQ(s[1].rows[0].accessory, Accessory::Check);
    EXPECT_EQ(s[2].footer, "Reminders go to a calendar file");
}

TEST(ReminderFiles, TheTimerHoldsTheSevenInstantsInUtc) {
    auto r = planned("Daily", 0, 900, "2026-10-22T12:00:00Z");
    std::string timer = reminderTimerUnit(r);
    EXPECT_NE(timer.find("OnCalendar=2026-10-23 08:00:00 UTC\n"), std::string::npos);
    EXPECT_NE(timer.find("OnCalendar=2026-10-29 09:00:00 UTC\n"), std::string::npos);
    std::size_t count = 0;
    for (std::size_t at = timer.find("OnCalendar="); at != std::string::npos;
         at = timer.find("OnCalendar=", at + 1))
        ++count;
    EXPECT_EQ(count, 7u);
    EXPECT_NE(timer.find("Persistent=true\n"), std::string::npos);
    EXPECT_NE(timer.find("AccuracySec=1s\n"), std::string::npos);
    std::string service = reminderServiceUnit(r);
    EXPECT_NE(service.find("Environment=\"DUE=Meter readings are due today\"\n"), std::string::npos);
    EXPECT_NE(service.find("Environment=\"OVERDUE=Meter readings are overdue\"\n"), std::string::npos);
    // A day after the first instant (2026-10-23 08:00Z = 1792742400) the text is "overdue".
    EXPECT_NE(service.find("Environment=UNTIL=1792828800\n"), std::string::npos);
}

TEST(ReminderFiles, TextsCannotBreakOutOfTheirAssignment) {
    std::vector<Reminder> r = {{at("2026-10-23T08:00:00Z"), "50% \"due\" \\ $HOME\nnow"},
                               {at("2026-10-24T08:00:00Z"), "later"}};
    std::string service = reminderServiceUnit(r);
    EXPECT_NE(service.find("Environment=\"DUE=50%% \\\"due\\\" \\\\ $HOME now\"\n"), std::string::npos)
        << service;
}

// systemd's own checker reads both units, where it is installed.
TEST(ReminderFiles, SystemdAcceptsTheUnits) {
    if (std::system("command -v systemd-analyze >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "systemd-analyze is not installed";
    test::TempDir dir;
    auto r = planned("Weekly", 3, 1800, "2026-11-23T08:00:00Z");
    std::ofstream(dir.file(kReminderTimer)) << reminderTimerUnit(r);
    std::ofstream(dir.file(kReminderService)) << reminderServiceUnit(r);
    std::string command = "cd '" + dir.path().string() + "' && systemd-analyze verify --man=no ./" +
                          kReminderTimer + " ./" + kReminderService + " > out.txt 2>&1";
    int rc = std::system(command.c_str());
    std::ifstream in(dir.file("out.txt"));
    std::string out((std::istreambuf_iterator<char>(in)), {});
    // notify-send may be missing on a build machine; nothing else may be reported.
    EXPECT_EQ(out.find(".timer:"), std::string::npos) << out;
    EXPECT_EQ(out.find(".service:"), std::string::npos) << out;
    EXPECT_EQ(rc, 0) << out;
}

// The calendar read back the way a calendar app reads it: lines unfolded, then events and alarms.
TEST(ReminderFiles, TheCalendarParsesBackToTheReminders) {
    std::vector<Reminder> r = planned("Monthly", 4, 700, "2026-11-23T08:00:00Z");
    r[1].text = "Zählerstände sind überfällig; bitte, jetzt ablesen und eintragen — " + std::string(40, 'x');
    std::string ics = reminderCalendar(r, at("2026-11-23T08:00:00Z"));
    std::vector<std::string> lines;
    for (std::size_t start = 0; start < ics.size();) {
        std::size_t end = ics.find("\r\n", start);
        ASSERT_NE(end, std::string::npos) << "every line ends in CRLF";
        std::string line = ics.substr(start, end - start);
        EXPECT_LE(line.size(), 75u);
        if (!line.empty() && line[0] == ' ')
            lines.back() += line.substr(1);
        else
            lines.push_back(line);
        start = end + 2;
    }
    auto unescape = [](const std::string& v) {
        std::string out;
        for (std::size_t i = 0; i < v.size(); ++i)
            out += v[i] == '\\' && i + 1 < v.size() ? v[++i] : v[i];
        return out;
    };
    std::vector<std::map<std::string, std::string>> events;
    int alarms = 0;
    for (const std::string& line : lines) {
        if (line == "BEGIN:VEVENT") events.emplace_back();
        if (line == "BEGIN:VALARM") ++alarms;
        std::size_t colon = line.find(':');
        if (!events.empty() && colon != std::string::npos)
            events.back().emplace(line.substr(0, colon), unescape(line.substr(colon + 1)));
    }
    EXPECT_EQ(lines.front(), "BEGIN:VCALENDAR");
    EXPECT_EQ(lines.back(), "END:VCALENDAR");
    ASSERT_EQ(events.size(), 7u);
    EXPECT_EQ(alarms, 7);
    EXPECT_EQ(events[0]["DTSTART"], "20261205T070000Z");
    EXPECT_EQ(events[0]["SUMMARY"], "Meter readings are due today");
    EXPECT_EQ(events[1]["SUMMARY"], r[1].text);
    EXPECT_EQ(events[6]["DTSTART"], "20261211T070000Z");
    EXPECT_NE(events[0]["UID"], events[1]["UID"]);
}

}  // namespace
}  // namespace numbrel
