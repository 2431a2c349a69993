#include "main/root_view_controller.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "costs/formatter.h"
#include "exchange/backup.h"
#include "exchange/backup_view_controller.h"
#include "main/meters_view_controller.h"
#include "main/price_comparison.h"
#include "readings/add_view_controller.h"
#include "readings/current_view_controller.h"
#include "readings/readings_view_controller.h"
#include "settings/help_browser.h"
#include "settings/settings_view_controller.h"
#include "settings/tour.h"
#include "store/app_delegate.h"
#include "store/document.h"
#include "store/meter_record.h"
#include "ui/localize.h"

namespace numbrel {

namespace {

// The platform's arrow symbols, drawn with characters every desktop font has.
constexpr const char* kUp = "▲";
constexpr const char* kDown = "▼";
constexpr const char* kLevel = "▶";

}  // namespace

RootViewController::RootViewController(NumbrelAppDelegate& app, Navigator& navigator,
                                       std::string documentsDir)
    : app_(app), navigator_(navigator), documentsDir_(std::move(documentsDir)) {}

std::string RootViewController::title() const {
    const Value* m = meter(meterIndex());
    return m ? std::string(stringOf(*m, "name")) : "Numbrel";
}

void RootViewController::metersAction() {
    navigator_.push(std::make_unique<MetersViewController>(app_, navigator_));
}

void RootViewController::addAction() {
    if (numberOfPages() > 0)
        navigator_.push(std::make_unique<AddViewController>(app_, navigator_, meterIndex()));
}

void RootViewController::selectPageRow(int page, int section, int row) {
    std::vector<Section> all = sections(page);
    if (section < 0 || section >= static_cast<int>(all.size())) return;
    const std::vector<Row>& rows = all[static_cast<std::size_t>(section)].rows;
    if (row < 0 || row >= static_cast<int>(rows.size())) return;
    openPageRow(page, rows[static_cast<std::size_t>(row)].action);
}

void RootViewController::select(const Row& row) {
    openPageRow(meterIndex(), row.action);
}

void RootViewController::openPageRow(int page, int action) {
    const Value* m = meter(page);
    const Array* readings = m ? readingsOf(*m) : nullptr;
    if (action == kReadingsRow && readings && !readings->empty())
        navigator_.push(std::make_unique<ReadingsViewController>(app_, navigator_, page));
    if (action == kCurrentRow) {
        std::optional<double> usage, cost;
        if (auto figure = currentFigure(page)) (figure->cost ? cost : usage) = figure->value;
        navigator_.push(
            std::make_unique<CurrentViewController>(app_, page, static_cast<int>(period()), usage, cost));
    }
}

void RootViewController::settingsAction() {
    navigator_.present(settingsSheet(documentsDir_));
}

void RootViewController::answerAlert(int tag, int button) {
    if (tag == kSettingsSheetTag && button == 0)
        navigator_.push(std::make_unique<BackupViewController>(app_, navigator_, documentsDir_));
    if (tag == kSettingsSheetTag && button == 1)
        navigator_.push(std::make_unique<SettingsViewController>(app_, navigator_, tablet()));
    if (tag == kSettingsSheetTag && button == 2) {
        if (navigator_.reachability().internetReachable())
            navigator_.push(
                std::make_unique<HelpBrowser>(navigator_, app_.configuration().value("help.page")));
        else
            navigator_.present(noInternetAlert());
    }
    if (tag == kReviewTag) answerReview(button);
    if (tag == kComparisonChoiceTag || tag == kPriceResultTag || tag == kMoreInfoTag)
        answerComparison(tag, button);
    if (tag >= kFirstTourTag && tag <= kLastTourTag) answerTour(tag, button);
}

void RootViewController::actionAction() {
    const Value* m = meter(meterIndex());
    if (!m || !comparable(*m)) {
        navigator_.present(eligibilityAlert());
        return;
    }
    const std::string service = priceService(app_.configuration());
    if (!app_.priceService() || !usablePriceService(service)) {
        navigator_.present(noServiceAlert(service));
        return;
    }
    if (!navigator_.reachability().internetReachable()) {
        navigator_.present(noInternetAlert());
        return;
    }
    if (dualPartner(app_.settings(), meterIndex()))
        navigator_.present(comparisonChoice(*m));
    else
        compareAction(false);
}

void RootViewController::compareAction(bool dual) {
    PriceService* service = app_.priceService();
    if (!service) return;
    PriceRequest request = priceRequest(app_, meterIndex(), dual);
    Job job;
    job.title = tr("Please Wait");
    job.message = fill("%@ ...", {tr("Getting energy supplier prices for your usage and postcode")});
    job.cancellable = true;
    job.work = [this, service, url = priceUrl(priceService(app_.configuration()), request.db()),
                request = std::move(request)](const Progress& progress) -> std::function<void()> {
        PriceReply reply = service->post(url, request.body, progress);
        if (reply.cancelled) return nullptr;
        return [this, request, reply = std::move(reply)] {
            if (auto alert = comparisonOutcome(app_, request, reply, navigator_.canSendMail(), moreInfo_))
                navigator_.present(*alert);
        };
    };
    navigator_.run(std::move(job));
}

void RootViewController::answerComparison(int tag, int button) {
    if (tag == kComparisonChoiceTag && button <= 1) compareAction(button == 1);
    if (tag == kPriceResultTag && button == 1) {
        if (moreInfo_.empty())
            navigator_.present(Alert{
                0, tr("More Information"), tr("The service gave no link to a specific quote"), {tr("OK")}});
        else
            navigator_.present(moreInfoAlert(navigator_.canSendMail()));
    }
    if (tag != kMoreInfoTag || moreInfo_.empty()) return;
    if (button == 1) {
        if (navigator_.reachability().internetReachable())
            navigator_.openUrl(moreInfo_);
        else
            navigator_.present(noInternetAlert());
    }
    if (button == 2)
        navigator_.composeMail(linkMail(moreInfo_, std::string(stringOf(app_.settings(), "email"))));
}

void RootViewController::setWindowSize(double width, double height) {
    width_ = width;
    height_ = height;
}

bool RootViewController::landscape() const {
    return width_ > height_ && boolOf(app_.settings(), "landscape");
}

int RootViewController::numberOfPages() const {
    const Array* meters = metersOf(app_.settings());
    return meters ? static_cast<int>(meters->size()) : 0;
}

int RootViewController::meterIndex() const {
    int n = numberOfPages();
    int m = static_cast<int>(integerOf(app_.settings(), "meter"));
    return n == 0 ? 0 : std::clamp(m, 0, n - 1);
}

void RootViewController::pageAction(int page) {
    if (page < 0 || page >= numberOfPages() || page == meterIndex()) return;
    app_.settings().set("meter", page);
    tariffIndex_ = 0;  // registers differ between meters
}

Period RootViewController::period() const {
    return static_cast<Period>(std::clamp<std::int64_t>(integerOf(app_.settings(), "period"), 0, 4));
}

int RootViewController::rangeIndex() const {
    return static_cast<int>(std::clamp<std::int64_t>(integerOf(app_.settings(), "range", 2), 0, 5));
}

bool RootViewController::holdsGraphs(int page) const {
    return std::abs(page - meterIndex()) <= 1;
}

const Value* RootViewController::meter(int page) const {
    const Array* meters = metersOf(app_.settings());
    return meters && page >= 0 && page < static_cast<int>(meters->size()) ? &(*meters)[page] : nullptr;
}

std::vector<RootViewController::SegmentControl> RootViewController::toolbar() const {
    std::vector<SegmentControl> out;
    if (const Value* m = meter(meterIndex())) {
        std::int64_t enabled = integerOf(*m, "enabled", 1);
        if (enabled >= 2) {
            SegmentControl reg{1, {" Σ "}, tariffIndex_};
            std::int64_t economy7 = integerOf(*m, "economy7");
            if (enabled == 2 && economy7 == 2) {
                reg.items.insert(reg.items.end(), {" D ", " N "});
            } else if (enabled == 2 && economy7 == 1) {
                reg.items.insert(reg.items.end(), {" N ", " D "});
            } else {
                for (int r = 1; r <= std::min<std::int64_t>(enabled, 3); ++r)
                    reg.items.push_back(" " + std::to_string(r) + " ");
            }
            out.push_back(reg);
        }
    }
    SegmentControl periods{2, {}, static_cast<int>(period())};
    for (const char* letter : {N_("D"), N_("W"), N_("M"), N_("Q"), N_("Y")})
        periods.items.push_back(" " + tr(letter) + " ");
    out.push_back(periods);
    if (landscape()) {
        SegmentControl ranges{3,
                              {" 1" + tr("m") + " ", " 3" + tr("m") + " ", " 6" + tr("m") + " ",
                               " 1" + tr("y") + " ", " 2" + tr("y") + " ", " " + tr("Max") + " "},
                              5 - rangeIndex()};
        out.push_back(ranges);
    }
    return out;
}

void RootViewController::segmentAction(int tag, int index) {
    Value& doc = app_.settings();
    if (tag == 1) {
        tariffIndex_ = std::max(0, index);
    } else if (tag == 2) {
        int p = std::clamp(index, 0, 4);
        doc.set("period", p);
        // A range that cannot hold one bucket of the new period is widened.
        if (p == 4 && rangeIndex() >= 3) doc.set("range", 2);
        if (p == 3 && rangeIndex() == 5) doc.set("range", 4);
    } else if (tag == 3) {
        int range = std::clamp(5 - index, 0, 5);
        doc.set("range", range);
        if ((range == 3 || range == 4) && period() == Period::Yearly) doc.set("period", 3);
        if (range == 5 && (period() == Period::Quarterly || period() == Period::Yearly)) doc.set("period", 2);
    }
}

bool RootViewController::graphShowsCost(int page) const {
    return app_.engine().hasCost(page) && boolOf(app_.settings(), "graph");
}

void RootViewController::graphAction() {
    if (!app_.engine().hasCost(meterIndex())) return;
    app_.settings().set("graph", !boolOf(app_.settings(), "graph"));
}

std::vector<RootViewController::GraphSpec> RootViewController::graphs(int page) {
    std::vector<GraphSpec> out;
    const Value* m = meter(page);
    const Array* readings = m ? readingsOf(*m) : nullptr;
    if (!readings || readings->size() < 2) return out;
    PointCount count = pointCount(period(), rangeIndex(), landscape());
    if (landscape() && count.range != rangeIndex()) app_.settings().set("range", count.range);
    SeriesRequest request;
    request.meter = page;
    request.tariff = page == meterIndex() ? tariffIndex_ : 0;
    request.period = period();
    request.maxPoints = count.maxPoints;
    request.extrapolate = boolOf(app_.settings(), "extrapolate");
    request.zero = boolOf(app_.settings(), "zero");
    bool hasCost = app_.engine().hasCost(page);
    if (tablet() && hasCost) {
        GraphSpec usage{request, false}, cost{request, true};
        cost.request.cost = true;
        out.push_back(usage);
        out.push_back(cost);
    } else {
        GraphSpec only{request, graphShowsCost(page)};
        only.request.cost = only.cost;
        out.push_back(only);
    }
    return out;
}

std::string RootViewController::readingsDetail(int page) const {
    const Value* m = meter(page);
    const Array* readings = m ? readingsOf(*m) : nullptr;
    if (!readings || readings->empty()) return tr("None");
    const Value* d = (*readings)[0].find("date");
    return d && d->isDate() ? app_.formatter().formatDate(d->date(), Formatter::DateStyle::Medium, true) : "";
}

std::string RootViewController::changeDetail(int page) const {
    const Value* m = meter(page);
    const Array* readings = m ? readingsOf(*m) : nullptr;
    if (!readings || readings->size() < 2) return {};
    Engine engine = app_.engine();
    double days = engine.days(page, 1, 0);
    std::string usage = app_.formatter().formatUsage(engine.usage(page, 0, 1, 0) * days, *m);
    std::string units(stringOf(*m, "units"));
    if (!engine.hasCost(page)) return fill(tr("∆ %@ %@"), {usage, units});
    std::string cost = app_.formatter().formatCost(engine.cost(page, 0, 1, 0) * days, *m);
    return fill(tr("∆ %@ %@, %@"), {usage, units, cost});
}

std::vector<Section> RootViewController::sections(int page) const {
    std::vector<Section> out;
    const Value* m = meter(page);
    if (!m) return out;
    const Array* readings = readingsOf(*m);
    std::size_t n = readings ? readings->size() : 0;

    Row readingsRow{tr("Readings"), readingsDetail(page), Accessory::Disclosure};
    readingsRow.action = kReadingsRow;
    Section first;
    first.rows.push_back(readingsRow);
    if (n < 2) {
        if (boolOf(app_.settings(), "tips", true))
            first.footer =
                tr("Add 2 or more readings to see graphs of usage and cost for the selected period");
        out.push_back(first);
        return out;
    }
    Row change{tr("Change"), changeDetail(page), Accessory::None};
    change.selectable = false;
    change.action = kChangeRow;
    auto current = current_.find(page);
    Row currentRow{tr("Current"), current == current_.end() ? "" : current->second, Accessory::Disclosure};
    currentRow.action = kCurrentRow;
    if (tablet()) {
        out.push_back(first);
        out.push_back(Section{"", "", {change, currentRow}});
    } else {
        first.rows.push_back(change);
        first.rows.push_back(currentRow);
        out.push_back(first);
    }
    bool hasCost = app_.engine().hasCost(page);
    auto graph = [](const char* kind) {
        Row r{"", kind};
        r.action = kGraphRow;
        r.selectable = false;
        return r;
    };
    if (tablet() && hasCost) {
        out.push_back(Section{"", "", {graph("usage")}});
        out.push_back(Section{"", "", {graph("cost")}});
    } else {
        out.push_back(Section{"", "", {graph(graphShowsCost(page) ? "cost" : "usage")}});
    }
    return out;
}

void RootViewController::averageAction(int page, double current, double average, bool cost) {
    const Value* m = meter(page);
    if (!m) return;
    const Formatter& f = app_.formatter();
    auto text = [&](double v) {
        return cost ? f.formatCost(v, *m) : f.formatUsage(v, *m) + " " + std::string(stringOf(*m, "units"));
    };
    figures_[page] = CurrentFigure{current, cost};
    const char* arrow = current > average ? kUp : current < average ? kDown : kLevel;
    current_[page] = text(current) + "  " + arrow + " " + text(std::abs(current - average));
}

std::optional<RootViewController::CurrentFigure> RootViewController::currentFigure(int page) const {
    auto it = figures_.find(page);
    if (it == figures_.end()) return std::nullopt;
    return it->second;
}

void RootViewController::appearAction() {
    if (boolOf(app_.settings(), "tour", true) && nextTag_ == kFirstTourTag) {
        nextTag_ = kFirstTourTag + 1;
        navigator_.present(*tourAlert(kFirstTourTag, app_.environment()));
        return;
    }
    nextTag_ = 100;
    const Value* review = app_.settings().find("review");
    if (review && review->isDate() && review->date() < app_.environment().now()) {
        navigator_.present(Alert{kReviewTag,
                                 tr("iTunes Review"),
                                 tr("If you like my app, please consider leaving a quick review on iTunes"),
                                 {tr("No Thanks!"), tr("OK"), tr("Remind Me Later")}});
    }
}

void RootViewController::answerReview(int button) {
    if (button == 2) {
        app_.settings().set("review", app_.calendar().addDays(app_.environment().now(), 7));
        return;
    }
    if (button == 1) {
        if (!navigator_.reachability().internetReachable()) {
            navigator_.present(noInternetAlert());
            return;
        }
        navigator_.openUrl(app_.configuration().value("links.review"));
    }
    app_.settings().set("review", kDistantFuture);
}

void RootViewController::answerTour(int tag, int button) {
    // "Next" is the second of two buttons; the last step's lone "OK" and "Cancel" end the tour.
    if (tag < kLastTourTag && button == 1) {
        nextTag_ = tag + 2;
        navigator_.present(*tourAlert(tag + 1, app_.environment()));
        return;
    }
    app_.settings().set("tour", false);
    nextTag_ = kFirstTourTag;  // the settings' "Tour" row can start it again
}

Alert RootViewController::settingsSheet(const std::string& documentsDir) const {
    Alert sheet;
    sheet.tag = kSettingsSheetTag;
    sheet.actionSheet = true;
    sheet.title = latestBackupLine(documentsDir, app_.environment());
    sheet.buttons = {tr("Backups"), tr("Settings and Help"), tr("User Guide"), tr("Cancel")};
    return sheet;
}

std::string latestBackupLine(const std::string& documentsDir, const Environment& env) {
    for (const std::string& name : listBackups(filesIn(documentsDir), {})) {
        if (name.size() != 21 || name.compare(0, 2, "nb") != 0) continue;
        // The integer conversion stops at the "@": yyyymmdd.
        long ymd = 0;
        std::from_chars(name.data() + 2, name.data() + name.size(), ymd);
        if (ymd < 20010000) continue;
        Formatter f(env);
        Calendar calendar(env);
        Date date = calendar.date(static_cast<int>(ymd / 10000), static_cast<int>(ymd / 100 % 100),
                                  static_cast<int>(ymd % 100));
        return fill(tr("Latest Backup: %@"), {f.formatDate(date, Formatter::DateStyle::Short, false)});
    }
    return tr("No Backups Found!");
}

}  // namespace numbrel
