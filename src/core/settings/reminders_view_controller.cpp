#include "settings/reminders_view_controller.h"

#include "settings/reminders.h"
#include "store/app_delegate.h"
#include "ui/localize.h"

namespace numbrel {

namespace {

const char* const kKinds[] = {N_("Off"), N_("Daily"), N_("Weekly"), N_("Monthly")};
const char* const kWeekdays[] = {N_("Monday"), N_("Tuesday"),  N_("Wednesday"), N_("Thursday"),
                                 N_("Friday"), N_("Saturday"), N_("Sunday")};

}  // namespace

RemindersViewController::RemindersViewController(NumbrelAppDelegate& app, std::string note)
    : app_(app), note_(std::move(note)) {}

std::string RemindersViewController::title() const {
    return tr("Reminders");
}

std::vector<Section> RemindersViewController::sections() const {
    const Value& settings = app_.settings();
    const std::string_view kind = stringOf(settings, "reminders", "Off");
    const std::int64_t on = integerOf(settings, "on");
    const std::int64_t at = integerOf(settings, "at");

    std::vector<Section> all;
    Section kinds;
    for (int i = 0; i < 4; ++i)
        kinds.rows.push_back(choice(tr(kKinds[i]), kind == kKinds[i], kKind, i));
    all.push_back(std::move(kinds));

    if (kind == "Weekly") {
        Section days{tr("Day")};
        for (int i = 0; i < 7; ++i)
            days.rows.push_back(choice(tr(kWeekdays[i]), on == i, kDay, i));
        all.push_back(std::move(days));
    } else if (kind == "Monthly") {
        Section dates{tr("Date")};
        for (int i = 0; i < 28; ++i)
            dates.rows.push_back(choice(reminderDateLabel(i), on == i, kDay, i));
        all.push_back(std::move(dates));
    }
    if (kind == "Daily" || kind == "Weekly" || kind == "Monthly") {
        Section hours{tr("Time")};
        for (int h = 0; h < 24; ++h)
            hours.rows.push_back(choice(reminderTimeLabel(h), at == h * 100, kHour, h));
        all.push_back(std::move(hours));
    }
    all.back().footer = note_;
    return all;
}

void RemindersViewController::select(const Row& row) {
    Value& settings = app_.settings();
    switch (row.action) {
        case kKind:
            settings.set("reminders", std::string(kKinds[row.index]));
            if (row.index >= 2) settings.set("on", 0);
            break;
        case kDay:
            settings.set("on", row.index);
            break;
        case kHour:
            settings.set("at", row.index * 100);
            break;
        default:
            break;
    }
}

}  // namespace numbrel
