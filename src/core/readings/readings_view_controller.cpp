#include "readings/readings_view_controller.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "costs/engine.h"
#include "costs/formatter.h"
#include "readings/add_view_controller.h"
#include "readings/csv_export.h"
#include "store/app_delegate.h"
#include "store/calendar.h"
#include "store/document.h"
#include "store/file_ops.h"
#include "store/meter_record.h"
#include "store/text_compare.h"
#include "ui/localize.h"

namespace numbrel {

namespace {

const char* const kMonthNames[12] = {N_("January"),   N_("February"), N_("March"),    N_("April"),
                                     N_("May"),       N_("June"),     N_("July"),     N_("August"),
                                     N_("September"), N_("October"),  N_("November"), N_("December")};
const char* const kWeekdays[7] = {N_("Sun"), N_("Mon"), N_("Tue"), N_("Wed"),
                                  N_("Thu"), N_("Fri"), N_("Sat")};
// Per-day values scaled to the period control's choice (the whole interval is handled apart).
constexpr double kScale[6] = {0, 1, 7, 365.0 / 12, 91.25, 365};

std::string twoDigits(int v) {
    return (v < 10 ? "0" : "") + std::to_string(v);
}

Date dateOf(const Value& reading) {
    const Value* d = reading.find("date");
    return d && d->isDate() ? d->date() : Date{0.0};
}

}  // namespace

ReadingsViewController::ReadingsViewController(NumbrelAppDelegate& app, Navigator& navigator, int meterIndex)
    : app_(app), navigator_(navigator), meter_(meterIndex) {}

const Value& ReadingsViewController::meter() const {
    return app_.meter(meter_);
}

std::string ReadingsViewController::title() const {
    return bills_ ? tr("Bills") : tr("Readings");
}

std::vector<std::string> ReadingsViewController::periodItems(bool largeScreen) const {
    std::vector<std::string> items;
    for (const char* item : {N_("∆"), N_("D"), N_("W"), N_("M"), N_("Q"), N_("Y")})
        items.push_back(largeScreen ? "  " + tr(item) + "  " : " " + tr(item) + " ");
    return items;
}

void ReadingsViewController::periodAction(int index) {
    if (index >= 0 && index <= 5) periodIndex_ = index;
}

std::string ReadingsViewController::usageText(double value) const {
    return app_.formatter().formatUsage(value, meter()) + " " + std::string(stringOf(meter(), "units"));
}

std::vector<ReadingsViewController::ReadingSection> ReadingsViewController::readingSections() const {
    std::vector<ReadingSection> out;
    const Value& m = meter();
    const Array* readings = readingsOf(m);
    const int n = readings ? static_cast<int>(readings->size()) : 0;
    const Engine engine = app_.engine();
    const Formatter& f = app_.formatter();
    const bool costs = engine.hasCost(meter_);
    const std::int64_t enabled = std::clamp<std::int64_t>(integerOf(m, "enabled", 1), 1, 3);
    const std::int64_t economy7 = integerOf(m, "economy7");

    int previousKey = -1;
    for (int i = 0; i < n; ++i) {
        const Value& reading = (*readings)[static_cast<std::size_t>(i)];
        if (bills_ && !boolOf(reading, "ticked")) continue;
        CalendarDate c = app_.calendar().components(dateOf(reading));
        int key = c.year * 12 + c.month;
        if (key != previousKey) {
            out.push_back({tr(kMonthNames[c.month - 1]) + " " + std::to_string(c.year), {}});
            previousKey = key;
        }
        ReadingRow row;
        row.index = i;
        row.bill = boolOf(reading, "ticked");
        row.date = tr(kWeekdays[c.weekday - 1]) + " " + std::to_string(c.day) + ", " + twoDigits(c.hour) +
                   ":" + twoDigits(c.minute);
        const Value* values = reading.find("reading");
        for (int r = 0; r < enabled; ++r) {
            const Value* v = values ? values->at(static_cast<std::size_t>(r)) : nullptr;
            std::string text = f.formatReading(v ? v->toReal() : 0.0, m);
            if (enabled == 1) {
                row.registers.push_back(text);
            } else if (enabled == 2 && economy7 >= 1) {
                bool night = (economy7 == 1) == (r == 0);
                row.registers.push_back(fill("%@: %@", {night ? tr("N") : tr("D"), text}));
            } else {
                row.registers.push_back("R" + std::to_string(r + 1) + ": " + text);
            }
        }
        // The interval this reading closes: from the next older reading, or the next older bill.
        int older = i + 1;
        if (bills_) {
            while (older < n && !boolOf((*readings)[static_cast<std::size_t>(older)], "ticked"))
                ++older;
        }
        if (older < n) {
            double factor = periodIndex_ == 0 ? engine.days(meter_, older, i) : kScale[periodIndex_];
            row.usage = usageText(engine.usage(meter_, 0, older, i) * factor);
            if (costs) row.cost = f.formatCost(engine.cost(meter_, 0, older, i) * factor, m);
            if (enabled >= 2)
                for (int r = 1; r <= enabled; ++r)
                    row.registerUsage.push_back(f.formatUsage(engine.usage(meter_, r, older, i) * factor, m));
        }
        out.back().rows.push_back(std::move(row));
    }
    if (out.empty()) out.push_back({});  // an empty meter shows one empty section
    return out;
}

std::vector<Section> ReadingsViewController::sections() const {
    std::vector<Section> out;
    for (const ReadingSection& rs : readingSections()) {
        Section s{rs.title, "", {}};
        for (const ReadingRow& r : rs.rows) {
            Row row{r.date, r.usage.empty() ? "" : r.usage + (r.cost.empty() ? "" : ", " + r.cost)};
            row.index = r.index;
            s.rows.push_back(std::move(row));
        }
        out.push_back(std::move(s));
    }
    return out;
}

void ReadingsViewController::usageAction() {
    navigator_.present(usageSheet());
}

void ReadingsViewController::answerAlert(int tag, int button) {
    if (tag == kUsageSheetTag) answerUsageSheet(button);
    if (tag == kExportSheetTag && (button == 0 || button == 1)) exportReadings(button == 1);
}

void ReadingsViewController::exportAction() {
    const Array* meters = metersOf(app_.settings());
    if (!meters || meters->size() < 2) {
        exportReadings(false);
        return;
    }
    Alert sheet{
        kExportSheetTag, tr("CSV Export"), "", {tr("This Single Meter"), tr("All Meters"), tr("Cancel")}};
    sheet.actionSheet = true;
    navigator_.present(sheet);
}

void ReadingsViewController::exportReadings(bool all) {
    // With a mail client the export goes to a new mail, as it is meant to be sent; without one, where
    // the user chooses.
    if (navigator_.canSendMail()) {
        if (!navigator_.reachability().internetReachable()) {
            navigator_.present(noInternetAlert());
            return;
        }
        const std::string path = navigator_.temporaryFolder() + "/" + exportName(all);
        writeExport(all, path, [this, all, path] {
            std::string subject =
                all ? "Numbrel" : fill("%@ %@", {std::string(stringOf(meter(), "name")), "Numbrel"});
            navigator_.composeMail(Mail{std::string(stringOf(app_.settings(), "email")), subject,
                                        tr("The attached file is in CSV (comma separated values) format for "
                                           "easy import into a spreadsheet application") +
                                            ".\n",
                                        path});
        });
    } else if (navigator_.canChooseFiles()) {
        navigator_.chooseFiles(
            Navigator::FileChoice{true, exportName(all)}, [this, all](const std::vector<std::string>& paths) {
                if (paths.empty()) return;
                const std::string path = paths[0];
                writeExport(all, path, [this, path] {
                    navigator_.present(Alert{
                        0, tr("CSV Export"), fill(tr("The readings were saved as %@"), {path}), {tr("OK")}});
                });
            });
    } else {
        navigator_.present(
            Alert{0, tr("Warning!"), tr("Export by email requires a valid mail configuration"), {tr("OK")}});
    }
}

std::string ReadingsViewController::exportName(bool all) const {
    return asciiLower(std::string(all ? std::string_view("readings") : stringOf(meter(), "type")) + ".csv");
}

void ReadingsViewController::writeExport(bool all, const std::string& path, std::function<void()> then) {
    Job job;
    job.title = tr("Exporting…");
    job.work = [this, all, path, then = std::move(then), copy = std::make_shared<Value>(app_.settings()),
                env = app_.environment(), meter = meter_](const Progress&) -> std::function<void()> {
        Calendar calendar(env);
        Formatter formatter(env);
        Engine engine(*copy, calendar);
        std::optional<int> which;
        if (!all) which = meter;
        CsvFile file = exportCsv(*copy, engine, formatter, which);
        std::optional<std::string> error = writeFileAtomically(FileOps::real(), path, file.bytes);
        if (error)
            return [this, error] {
                navigator_.present(Alert{0,
                                         tr("Warning!"),
                                         fill(tr("The export could not be written to %@"), {*error}),
                                         {tr("OK")}});
            };
        return then;
    };
    navigator_.run(std::move(job));
}

void ReadingsViewController::deleteReading(int index) {
    Array* readings =
        arrayOf(app_.settings().find("settings")->array()[static_cast<std::size_t>(meter_)], "readings");
    if (!readings || index < 0 || index >= static_cast<int>(readings->size())) return;
    readings->erase(readings->begin() + index);
    if (readings->empty()) navigator_.pop();
}

void ReadingsViewController::editReading(int index) {
    const Array* readings = readingsOf(meter());
    if (readings && index >= 0 && index < static_cast<int>(readings->size()))
        navigator_.push(std::make_unique<AddViewController>(app_, navigator_, meter_, index));
}

void ReadingsViewController::findBills() {
    last_ = second_ = -1;
    const Array* readings = readingsOf(meter());
    for (int i = 0; readings && i < static_cast<int>(readings->size()); ++i) {
        if (!boolOf((*readings)[static_cast<std::size_t>(i)], "ticked")) continue;
        if (last_ < 0) {
            last_ = i;
        } else {
            second_ = i;
            break;
        }
    }
}

Alert ReadingsViewController::usageSheet() {
    findBills();
    std::string_view type = stringOf(meter(), "type");
    Alert sheet;
    sheet.tag = kUsageSheetTag;
    sheet.actionSheet = true;
    sheet.title = type == "Solar" || type == "Wind" ? tr("Generation and Credit") : tr("Usage and Cost");
    sheet.buttons = {tr("Since Last Bill"), tr("Next Bill"),
                     bills_ ? tr("Between Readings") : tr("Between Bills"), tr("Cancel")};
    return sheet;
}

void ReadingsViewController::answerUsageSheet(int button) {
    findBills();
    const Value& m = meter();
    const Engine engine = app_.engine();
    const Formatter& f = app_.formatter();
    const bool costs = engine.hasCost(meter_);
    const std::string units(stringOf(m, "units"));
    auto alert = [&](const std::string& title, const std::string& message) {
        navigator_.present(Alert{kBillAlertTag, title, message, {tr("OK")}});
    };
    if (button == 0) {
        std::string title = tr("Since Last Bill");
        if (last_ < 0) {
            alert(title,
                  tr("Identify your last bill by editing the readings you submitted to your supplier"));
            return;
        }
        double d = engine.days(meter_, last_, 0), u = engine.usage(meter_, 0, last_, 0),
               k = engine.cost(meter_, 0, last_, 0);
        if (costs) {
            alert(title, fill("%@ %@, %@\n" + printfFixed(d, 1) + " %@\n%@\n%@ %@, %@/%@",
                              {f.formatUsage(u * d, m), units, f.formatCost(k * d, m), tr("days"), tr("or"),
                               f.formatUsage(u, m), units, f.formatCost(k, m), tr("day")}));
        } else {
            alert(title, fill("%@ %@, " + printfFixed(d, 1) + " %@\n%@\n%@ %@/%@",
                              {f.formatUsage(u * d, m), units, tr("days"), tr("or"), f.formatUsage(u, m),
                               units, tr("day")}));
        }
    } else if (button == 1) {
        std::string title = tr("Next Bill");
        if (second_ < 0) {
            alert(title,
                  tr("Identify your last two bills by editing the readings you submitted to your supplier"));
            return;
        }
        double B = engine.days(meter_, second_, last_), S = engine.days(meter_, last_, 0);
        if (B <= S) {
            alert(title, tr("Based on your last two bills, your next bill is overdue"));
            return;
        }
        double R = B - S;
        Date newest = dateOf((*readingsOf(m))[0]);
        Date expected{newest.seconds + std::floor(R * 24 * 60 * 60)};
        double us = engine.usage(meter_, 0, last_, 0), cs = engine.cost(meter_, 0, last_, 0);
        double ur = engine.usage(meter_, 0, 1, 0), cr = engine.cost(meter_, 0, 1, 0);
        double p = (us * S + R * ur) / B, q = (cs * S + R * cr) / B;
        std::string when = f.formatDate(expected, Formatter::DateStyle::Short, false);
        if (costs) {
            alert(title,
                  fill("%@ %@\n%@ %@, %@\n" + printfFixed(B, 1) + " %@\n%@\n%@ %@, %@/%@",
                       {tr("Expected on"), when, f.formatUsage(B * p, m), units, f.formatCost(B * q, m),
                        tr("days"), tr("or"), f.formatUsage(p, m), units, f.formatCost(q, m), tr("day")}));
        } else {
            alert(title, fill("%@ %@\n%@ %@, " + printfFixed(B, 1) + " %@\n%@\n%@ %@/%@",
                              {tr("Expected on"), when, f.formatUsage(B * p, m), units, tr("days"), tr("or"),
                               f.formatUsage(p, m), units, tr("day")}));
        }
    } else if (button == 2) {
        if (bills_) {
            doneAction();
            return;
        }
        if (last_ < 0) {
            alert(tr("Between Bills"),
                  tr("To identify your bills, edit the readings you submitted to your supplier"));
            return;
        }
        bills_ = true;
    }
}

void ReadingsViewController::doneAction() {
    bills_ = false;
}

}  // namespace numbrel
