#include "app_services.h"

#include <QDateTime>
#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSaveFile>
#include <QStandardPaths>
#include <QUrl>

#include "exchange/backup_view_controller.h"
#include "font_measurer.h"
#include "main/graph_layout.h"
#include "main/meters_view_controller.h"
#include "main/selection_view_controller.h"
#include "plist/date_text.h"
#include "readings/csv_export.h"
#include "readings/property_editors.h"
#include "store/document.h"
#include "ui/localize.h"

namespace numbrel::app {

namespace {

QString qs(const std::string& s) {
    return QString::fromStdString(s);
}

QVariantMap toVariant(const Alert& a) {
    QVariantList buttons;
    for (const auto& b : a.buttons)
        buttons << qs(b);
    return {{"tag", a.tag},
            {"title", qs(a.title)},
            {"message", qs(a.message)},
            {"buttons", buttons},
            {"actionSheet", a.actionSheet},
            {"dismissAfter", a.dismissAfterSeconds},
            {"cancelButton", cancelButton(a)},
            {"defaultButton", defaultButton(a)}};
}

const char* accessoryName(Accessory a) {
    switch (a) {
        case Accessory::Disclosure:
            return "disclosure";
        case Accessory::Check:
            return "check";
        case Accessory::Switch:
            return "switch";
        case Accessory::Segments:
            return "segments";
        case Accessory::None:
            break;
    }
    return "";
}

Date fromQt(const QDateTime& d) {
    return Date{d.toMSecsSinceEpoch() / 1000.0 - kUnixToReferenceSeconds};
}
QDateTime toQt(Date d) {
    return QDateTime::fromMSecsSinceEpoch(
        static_cast<qint64>((d.seconds + kUnixToReferenceSeconds) * 1000.0));
}

}  // namespace

QVariantList toVariant(const std::vector<Section>& sections) {
    QVariantList out;
    for (const Section& s : sections) {
        QVariantList rows;
        for (const Row& r : s.rows) {
            QVariantList segments;
            for (const auto& seg : r.segments)
                segments << qs(seg);
            QVariantMap row{{"label", qs(r.label)},
                            {"detail", qs(r.detail)},
                            {"accessory", accessoryName(r.accessory)},
                            {"tag", r.tag},
                            {"on", r.on},
                            {"segments", segments},
                            {"selectedSegment", r.selectedSegment},
                            {"enabled", r.enabled},
                            {"selectable", r.selectable},
                            {"deletable", r.deletable},
                            {"swipeDeletes", r.swipeDeletes}};
            if (r.color) row["color"] = QVariantList{r.color->r, r.color->g, r.color->b};
            rows << row;
        }
        out << QVariantMap{{"header", qs(s.header)}, {"footer", qs(s.footer)}, {"rows", rows}};
    }
    return out;
}

void QmlNavigator::present(const Alert& alert) {
    emit alertRequested(toVariant(alert));
}

void QmlNavigator::openUrl(const std::string& url) {
    QDesktopServices::openUrl(QUrl(qs(url)));
}

// The desktop's mail client, through xdg-email, stands in for the mail composer.
bool QmlNavigator::canSendMail() const {
    // xdg-email needs a mail client that handles mailto: links; asked once per run.
    static const bool mailer = [] {
        if (QStandardPaths::findExecutable("xdg-email").isEmpty()) return false;
        QProcess query;
        query.start("xdg-mime", {"query", "default", "x-scheme-handler/mailto"});
        return query.waitForFinished(2000) && !query.readAllStandardOutput().trimmed().isEmpty();
    }();
    return mailer;
}

void QmlNavigator::composeMail(const Mail& mail) {
    QStringList args{"--subject",   qs(mail.subject), "--body",
                     qs(mail.body), "--attach",       qs(mail.attachmentPath)};
    if (!mail.to.empty()) args << qs(mail.to);
    QString mailer = QStandardPaths::findExecutable("xdg-email");
    if (mailer.isEmpty() || !QProcess::startDetached(mailer, args))
        present(Alert{0,
                      numbrel::tr("Warning!"),
                      numbrel::tr("The mail client could not be started"),
                      {numbrel::tr("OK")}});
}

Services::Services(NumbrelAppDelegate& app, std::string documentsDir, QObject* parent)
    : QObject(parent), app_(app), documentsDir_(std::move(documentsDir)), root_(app) {
    // A saved reading reaches the disk within a second, so that a crash never loses it.
    saveTimer_.setSingleShot(true);
    saveTimer_.setInterval(500);
    navigator_.onPush = [this](std::unique_ptr<Screen> screen) {
        screens_.push_back(std::move(screen));
        emit screenChanged();
        emit screenPushed();
    };
    connect(&saveTimer_, &QTimer::timeout, this, [this] {
        if (auto error = app_.saveSettings()) emit saveFailed(qs(*error));
    });
}

// Something the user did may have changed the document: the screens read it again, and it is saved
// within a second.
// A screen that closes itself is still running the method that closed it: it is destroyed once
// the event loop comes round again, never while one of its own methods runs.
void Services::retire(std::shared_ptr<void> screen) {
    if (!screen) return;
    retired_.push_back(std::move(screen));
    if (retired_.size() == 1) QTimer::singleShot(0, this, [this] { retired_.clear(); });
}

void Services::touch() {
    ++revision_;
    saveSoon();
    emit changed();
}

void Services::saveSoon() {
    saveTimer_.start();
}

std::shared_ptr<const PageGraphs> Services::pageGraphs(int page) {
    auto& [built, graphs] = graphs_[page];
    if (graphs && built == revision_) return graphs;
    auto out = std::make_shared<PageGraphs>();
    Engine engine = app_.engine();
    const bool annual = boolOf(app_.settings(), "average");
    const Array* meters = metersOf(app_.settings());
    FontMeasurer measurer;
    for (const RootViewController::GraphSpec& shows : root_.graphs(page)) {
        PageGraphs::Graph g{
            shows, buildSeries(app_.settings(), engine, app_.formatter(), app_.calendar(), shows.request)};
        g.average = seriesAverage(g.series, engine, shows.request, annual);
        // The page's Current row shows what the graph that matches the main screen's kind shows.
        if (shows.cost == root_.graphShowsCost(page))
            root_.averageAction(page, g.series.current, g.average, shows.cost);
        LayoutRequest request;
        request.leftMargin = kGraphMargin;
        if (meters && page < static_cast<int>(meters->size()))
            out->plotLeft =
                std::max(out->plotLeft, plotLeft(g.series, (*meters)[static_cast<std::size_t>(page)], request,
                                                 app_.formatter(), app_.environment(), measurer));
        out->graphs.push_back(std::move(g));
    }
    built = revision_;
    graphs = std::move(out);
    return graphs;
}

QString Services::title() const {
    const Array* meters = metersOf(app_.settings());
    int m = root_.meterIndex();
    return meters && m < static_cast<int>(meters->size()) ? qs(std::string(stringOf((*meters)[m], "name")))
                                                          : "Numbrel";
}

QVariantList Services::toolbar() const {
    QVariantList out;
    for (const auto& c : root_.toolbar()) {
        QVariantList items;
        for (const auto& i : c.items)
            items << qs(i);
        out << QVariantMap{{"tag", c.tag}, {"items", items}, {"selected", c.selected}};
    }
    return out;
}

QVariantList Services::pageSections(int page) {
    if (root_.holdsGraphs(page)) pageGraphs(page);  // the Current row's figures come from them
    return toVariant(root_.sections(page));
}

void Services::setWindowSize(double width, double height) {
    bool wasLandscape = root_.landscape(), wasTablet = root_.tablet();
    root_.setWindowSize(width, height);
    if (wasLandscape != root_.landscape() || wasTablet != root_.tablet()) touch();
}

void Services::pageAction(int page) {
    if (page == root_.meterIndex()) return;
    root_.pageAction(page);
    touch();
}

void Services::segmentAction(int tag, int index) {
    root_.segmentAction(tag, index);
    touch();
}

void Services::graphAction() {
    root_.graphAction();
    touch();
}

QVariantMap Services::settingsSheet() const {
    return toVariant(root_.settingsSheet(documentsDir_));
}

void Services::openEntry(int readingIndex) {
    if (root_.numberOfPages() == 0) return;
    entry_ = std::make_unique<AddViewController>(app_, navigator_, root_.meterIndex(), readingIndex);
    emit entryChanged();
}

void Services::entrySelectRow(int row) {
    if (!entry_) return;
    entry_->selectRow(0, row);
    emit entryChanged();
}

void Services::entryFlipSwitch(int tag, bool on) {
    if (!entry_) return;
    entry_->flipSwitch(tag, on);
    emit entryChanged();
}

void Services::entryChooseSegment(int tag, int index) {
    if (!entry_) return;
    entry_->chooseSegment(tag, index);
    emit entryChanged();
}

void Services::entryWheelChanged(int component, int row) {
    if (!entry_) return;
    entry_->wheelChanged(component, row);
    emit entryChanged();
}

void Services::entryTypeDigit(int digit) {
    if (!entry_) return;
    entry_->typeDigit(digit);
    emit entryChanged();
}

void Services::entryDeleteDigit() {
    if (!entry_) return;
    entry_->deleteDigit();
    emit entryChanged();
}

void Services::entryTypeKey(int digit) {
    if (!entry_) return;
    entry_->typeKey(digit);
    emit entryChanged();
}

void Services::entryBackspaceKey() {
    if (!entry_) return;
    entry_->backspaceKey();
    emit entryChanged();
}

void Services::entrySelectWheel(int component) {
    if (!entry_) return;
    entry_->selectWheel(component);
    emit entryChanged();
}

void Services::entrySetDate(const QDateTime& date) {
    if (!entry_) return;
    entry_->dateAction(fromQt(date));
    emit entryChanged();
}

void Services::entrySave() {
    if (!entry_) return;
    // "Reading Saved" or closing comes back through the navigator.
    QMetaObject::Connection closed = connect(&navigator_, &QmlNavigator::dismissRequested, this, [this] {
        retire(std::move(entry_));
        emit entryClosed();
    });
    entry_->saveAction();
    disconnect(closed);
    saveSoon();
    touch();
    if (entry_) emit entryChanged();
}

void Services::entryCancel() {
    entry_.reset();
    emit entryClosed();
}

void Services::answerAlert(int tag, int button) {
    // The screen on top answers: reading entry, then the readings list, the meters list, the main screen.
    if (entry_ && tag == AddViewController::kSavedTag) {
        if (button == 1) {
            entry_->answerAlert(tag, button);
            root_.pageAction(entry_->meterIndex());
            touch();
            emit entryChanged();
        } else {
            entryCancel();
        }
        return;
    }
    if (readings_ && tag == ReadingsViewController::kUsageSheetTag) {
        readings_->answerUsageSheet(button);
        emit readingsChanged();
        return;
    }
    if (meters_ && tag == MetersViewController::kDeleteTag) {
        meters_->answerAlert(tag, button);
        touch();
        emit metersChanged();
        return;
    }
    if (!screens_.empty() && tag >= TariffViewController::kDeleteRatesTag) {  // answers for a pushed screen
        QMetaObject::Connection closed = connect(&navigator_, &QmlNavigator::popRequested, this, [this] {
            retire(std::move(screens_.back()));
            screens_.pop_back();
            emit screenClosed();
        });
        screens_.back()->answerAlert(tag, button);
        disconnect(closed);
        touch();
        emit tariffChanged();
        return;
    }
    if (tariff_ && tag == TariffViewController::kRateChangeTag) {
        tariff_->answerAlert(tag, button);
        touch();
        emit tariffChanged();
        return;
    }
    if (tag == RootViewController::kSettingsSheetTag && button == 0) openBackups();
    if (tag == RootViewController::kReviewTag) root_.answerReview(button);
}

void Services::closeReadings() {
    readings_.reset();
}

void Services::openMeters() {
    meters_ = std::make_unique<MetersViewController>(app_, navigator_);
    meters_->setTariffEditorHook([this](int meter) {
        openTariff(meter);
        emit tariffOpened();
    });
    emit metersChanged();
}

void Services::openTariff(int meter) {
    if (meter < 0 || meter >= root_.numberOfPages()) return;
    tariff_ = std::make_unique<TariffViewController>(app_, navigator_, meter);
    emit tariffChanged();
}

void Services::tariffFlip(int tag, bool on) {
    if (!tariff_) return;
    tariff_->flipSwitch(tag, on);
    touch();
    emit tariffChanged();
}

// Hands the pending value edit to the editor dialog.
void Services::requestEdit() {
    static const char* const kKinds[] = {"number", "text", "postcode", "notes", "date"};
    emit editRequested(QVariantMap{{"title", qs(edit_->title)},
                                   {"prompt", qs(edit_->prompt)},
                                   {"value", qs(edit_->value)},
                                   {"period", edit_->period ? qs(*edit_->period) : QString()},
                                   {"kind", kKinds[static_cast<int>(edit_->kind)]},
                                   {"allowNegative", edit_->allowNegative},
                                   {"negative", edit_->negative},
                                   {"required", edit_->required}});
}

QVariant Services::editTyped(const QString& current, const QString& candidate) const {
    if (!edit_) return candidate;
    std::optional<std::string> accepted = acceptTyping(*edit_, current.toStdString(), candidate.toStdString(),
                                                       app_.formatter().decimalSeparator());
    return accepted ? QVariant(qs(*accepted)) : QVariant();
}

void Services::tariffSelect(int section, int row) {
    if (!tariff_) return;
    edit_ = tariff_->editFor(section, row);
    if (!edit_) {
        tariff_->selectRow(section, row);
        return;
    }
    requestEdit();
}

bool Services::tariffApply(const QString& text, const QString& period) {
    if (!edit_) return true;  // nothing left to apply: the dialog closes
    if (edit_->valid && !edit_->valid()) {
        // The document changed shape while the editor was open (a restore, a meter deleted): what it
        // edited is gone, and the value is not written anywhere else.
        edit_.reset();
        navigator_.present(Alert{0,
                                 numbrel::tr("Warning!"),
                                 numbrel::tr("The value was not saved: what it belonged to changed while it "
                                             "was being edited"),
                                 {numbrel::tr("OK")}});
        return true;
    }
    bool ok = edit_->apply(text.toStdString(), period.toStdString());
    if (ok) {
        edit_.reset();
        touch();
        emit tariffChanged();
        emit metersChanged();
        emit screenChanged();
    }
    return ok;
}

void Services::tariffDone() {
    if (tariff_) tariff_->doneAction();
    tariff_.reset();
    touch();
}

void Services::screenSelect(int section, int row) {
    if (screens_.empty()) return;
    // Rows that edit a value in place go through the editor dialog.
    edit_ = screens_.back()->editFor(section, row);
    if (edit_) {
        requestEdit();
        return;
    }
    // A chooser that closes itself after a choice goes back to the screen below.
    QMetaObject::Connection closed = connect(&navigator_, &QmlNavigator::popRequested, this, [this] {
        retire(std::move(screens_.back()));
        screens_.pop_back();
        emit screenClosed();
    });
    Screen* top = screens_.back().get();
    top->selectRow(section, row);
    disconnect(closed);
    touch();
    emit screenChanged();
    emit tariffChanged();
}

void Services::screenFlip(int tag, bool on) {
    if (screens_.empty()) return;
    screens_.back()->flipSwitch(tag, on);
    touch();
    emit screenChanged();
}

void Services::screenPop() {
    if (!screens_.empty()) screens_.pop_back();
    emit screenChanged();
    emit tariffChanged();
}

bool Services::screenCanDelete() const {
    return !screens_.empty() && screens_.back()->canDelete();
}

void Services::screenDelete() {
    if (!screens_.empty()) screens_.back()->deleteAction();
}

bool Services::screenCanEdit() const {
    return !screens_.empty() && screens_.back()->canEdit();
}

bool Services::screenEditing() const {
    return !screens_.empty() && screens_.back()->isEditing();
}

void Services::screenSetEditing(bool on) {
    if (screens_.empty()) return;
    screens_.back()->setEditing(on);
    emit screenChanged();
}

void Services::screenDeleteRow(int section, int row) {
    if (screens_.empty()) return;
    screens_.back()->commitDelete(section, row);
    touch();
    emit screenChanged();
}

void Services::openBackups() {
    auto screen = std::make_unique<BackupViewController>(app_, navigator_, documentsDir_);
    screen->setAddFileHook([this] { emit addFileRequested(); });
    // A restore replaces the document and an import adds readings: the main screen starts again.
    screen->setChangedHook([this] {
        root_.pageAction(std::clamp<int>(root_.meterIndex(), 0, std::max(0, root_.numberOfPages() - 1)));
        touch();
        saveSoon();
    });
    navigator_.push(std::move(screen));
}

bool Services::screenTakesFiles() const {
    return !screens_.empty() && dynamic_cast<BackupViewController*>(screens_.back().get());
}

void Services::addFile(const QUrl& file) {
    QString from = file.isLocalFile() ? file.toLocalFile() : file.toString();
    for (auto& screen : screens_)
        if (auto* backups = dynamic_cast<BackupViewController*>(screen.get()))
            backups->addFile(from.toStdString());
    emit screenChanged();
}

void Services::openThemes() {
    navigator_.push(std::make_unique<ThemeViewController>(app_));
}

bool Services::black() const {
    return boolOf(app_.settings(), "black");
}

QString Services::screenTitle() const {
    return screens_.empty() ? QString() : qs(screens_.back()->title());
}

QVariantList Services::screenSections() const {
    return screens_.empty() ? QVariantList() : toVariant(screens_.back()->sections());
}

QString Services::tariffTitle() const {
    return tariff_ ? qs(tariff_->title()) : QString();
}

QVariantList Services::tariffSections() const {
    return tariff_ ? toVariant(tariff_->sections()) : QVariantList();
}

QVariantList Services::metersSections() const {
    return meters_ ? toVariant(meters_->sections()) : QVariantList();
}

bool Services::metersEditing() const {
    return meters_ && meters_->editing();
}

void Services::metersEdit(bool editing) {
    if (!meters_) return;
    editing ? meters_->editAction() : meters_->doneAction();
    emit metersChanged();
}

void Services::metersSelect(int row) {
    if (!meters_) return;
    QMetaObject::Connection closed = connect(&navigator_, &QmlNavigator::popRequested, this, [this] {
        retire(std::move(meters_));
        emit metersClosed();
    });
    meters_->selectRow(0, row);
    disconnect(closed);
    touch();
    if (meters_) emit metersChanged();
}

void Services::metersDelete(int row) {
    if (!meters_) return;
    meters_->deleteRow(row);
    touch();
    emit metersChanged();
}

void Services::metersMove(int from, int to) {
    if (!meters_ || !meters_->moveRow(from, to)) return;
    touch();
    emit metersChanged();
}

void Services::metersAdd() {
    if (!meters_) return;
    edit_ = meters_->newMeterEdit();
    requestEdit();
}

QString Services::entryTitle() const {
    return entry_ ? qs(entry_->title()) : QString();
}

QVariantList Services::entryRows() const {
    return entry_ ? toVariant(entry_->sections()) : QVariantList();
}

QVariantList Services::entryWheels() const {
    QVariantList out;
    if (!entry_) return out;
    for (const auto& c : entry_->components())
        out << QVariantMap{{"separator", c.separator},
                           {"rows", c.rows},
                           {"selected", c.selected},
                           {"decimal", c.decimal},
                           {"cursor", c.cursor}};
    return out;
}

bool Services::entryKeyboard() const {
    return entry_ && entry_->keyboard();
}

int Services::entryDateMode() const {
    return entry_ ? static_cast<int>(entry_->dateMode()) : 0;
}

QDateTime Services::entryDate() const {
    return entry_ ? toQt(entry_->date()) : QDateTime();
}

QString Services::decimalSeparator() const {
    return entry_ ? qs(entry_->decimalSeparator()) : ".";
}

void Services::enterBackground() {
    saveTimer_.stop();
    if (auto error = app_.applicationDidEnterBackground()) emit saveFailed(qs(*error));
}

void Services::enterForeground() {
    app_.applicationWillEnterForeground();
    touch();
}

void Services::appear() {
    if (std::optional<Alert> question = root_.appearAction()) navigator_.present(*question);
}

void Services::openReadings() {
    if (root_.numberOfPages() == 0) return;
    readings_ = std::make_unique<ReadingsViewController>(app_, navigator_, root_.meterIndex());
    emit readingsChanged();
}

void Services::readingsPeriodAction(int index) {
    if (!readings_) return;
    readings_->periodAction(index);
    emit readingsChanged();
}

void Services::readingsUsageAction() {
    if (readings_) navigator_.present(readings_->usageSheet());
}

void Services::readingsDoneAction() {
    if (!readings_) return;
    readings_->doneAction();
    emit readingsChanged();
}

void Services::readingsDelete(int index) {
    if (!readings_) return;
    QMetaObject::Connection closed =
        connect(&navigator_, &QmlNavigator::popRequested, this, [this] { emit readingsClosed(); });
    readings_->deleteReading(index);
    disconnect(closed);
    saveSoon();
    touch();
    emit readingsChanged();
}

void Services::readingsEdit(int index) {
    if (!readings_) return;
    openEntry(index);
    emit entryOpened();
}

QString Services::readingsTitle() const {
    return readings_ ? qs(readings_->title()) : QString();
}

QVariantList Services::readingsSections() const {
    QVariantList out;
    if (!readings_) return out;
    for (const auto& section : readings_->sections()) {
        QVariantList rows;
        for (const auto& r : section.rows) {
            QStringList registers, registerUsage;
            for (const auto& t : r.registers)
                registers << qs(t);
            for (const auto& t : r.registerUsage)
                registerUsage << qs(t);
            rows << QVariantMap{{"index", r.index},       {"date", qs(r.date)},
                                {"registers", registers}, {"registerUsage", registerUsage},
                                {"usage", qs(r.usage)},   {"cost", qs(r.cost)},
                                {"bill", r.bill}};
        }
        out << QVariantMap{{"title", qs(section.title)}, {"rows", rows}};
    }
    return out;
}

QVariantMap Services::readingsPeriods() const {
    QStringList items;
    if (readings_)
        for (const auto& i : readings_->periodItems(root_.tablet()))
            items << qs(i);
    return {{"items", items},
            {"selected", readings_ ? readings_->periodIndex() : 0},
            {"bills", readings_ && readings_->bills()}};
}

void Services::readingsExport(bool all) {
    if (!readings_) return;
    std::optional<int> meter;
    if (!all) meter = root_.meterIndex();
    CsvFile file = exportCsv(app_.settings(), app_.engine(), app_.formatter(), meter);
    // With a desktop mail client, a new mail with the file attached, as the export is meant to be
    // sent; without one, the file goes where the user chooses.
    if (!navigator_.canSendMail()) {
        emit exportSaveRequested(all, qs(file.name));
        return;
    }
    if (!exports_) exports_ = std::make_unique<QTemporaryDir>();
    QString path = exports_->path() + "/" + qs(file.name);
    QFile out(path);
    if (!exports_->isValid() || !out.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        out.write(file.bytes.data(), static_cast<qint64>(file.bytes.size())) !=
            static_cast<qint64>(file.bytes.size())) {
        emit exportSaveRequested(all, qs(file.name));
        return;
    }
    out.close();
    std::string subject =
        all ? "Numbrel"
            : fill("%@ %@", {std::string(stringOf(app_.meter(root_.meterIndex()), "name")), "Numbrel"});
    navigator_.composeMail(
        Mail{std::string(stringOf(app_.settings(), "email")), subject,
             numbrel::tr("The attached file is in CSV (comma separated values) format for easy "
                         "import into a spreadsheet application") +
                 ".\n",
             path.toStdString()});
}

void Services::readingsSaveExport(bool all, const QUrl& where) {
    std::optional<int> meter;
    if (!all) meter = root_.meterIndex();
    CsvFile file = exportCsv(app_.settings(), app_.engine(), app_.formatter(), meter);
    QString path = where.isLocalFile() ? where.toLocalFile() : where.toString();
    QSaveFile out(path);
    if (!out.open(QIODevice::WriteOnly) ||
        out.write(file.bytes.data(), static_cast<qint64>(file.bytes.size())) !=
            static_cast<qint64>(file.bytes.size()) ||
        !out.commit()) {
        navigator_.present(
            Alert{0,
                  numbrel::tr("Warning!"),
                  fill(numbrel::tr("The export could not be written to %@"), {path.toStdString()}),
                  {numbrel::tr("OK")}});
        return;
    }
    navigator_.present(Alert{0,
                             numbrel::tr("CSV Export"),
                             fill(numbrel::tr("The readings were saved as %@"), {path.toStdString()}),
                             {numbrel::tr("OK")}});
}

QUrl Services::userDocuments() const {
    QString folder = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    if (folder.isEmpty() || !QFileInfo(folder).isDir()) folder = QDir::homePath();
    return QUrl::fromLocalFile(folder);
}

void Services::openCurrent() {
    if (root_.numberOfPages() == 0) return;
    int page = root_.meterIndex();
    std::optional<double> usage, cost;
    if (auto figure = root_.currentFigure(page)) (figure->cost ? cost : usage) = figure->value;
    current_ =
        std::make_unique<CurrentViewController>(app_, page, static_cast<int>(root_.period()), usage, cost);
    emit currentChanged();
}

QVariantList Services::currentSections() const {
    return current_ ? toVariant(current_->sections()) : QVariantList();
}

}  // namespace numbrel::app
