// The app's services as QML sees them: the delegate's document, the main screen and reading entry
// models, the navigator that turns the models' requests into QML signals, and the lifecycle (saving
// when the window goes away). Built by main.cpp, the composition root.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QDateTime>
#include <QObject>
#include <QTemporaryDir>
#include <QTimer>
#include <QUrl>
#include <QVariant>
#include <functional>
#include <memory>

#include "costs/tariff_view_controller.h"
#include "main/meters_view_controller.h"
#include "main/root_view_controller.h"
#include "readings/add_view_controller.h"
#include "readings/current_view_controller.h"
#include "readings/readings_view_controller.h"
#include "store/app_delegate.h"
#include "ui/screen.h"

namespace numbrel::app {

class Services;

// Turns the models' navigation requests into signals for QML.
class QmlNavigator : public QObject, public Navigator {
    Q_OBJECT
public:
    explicit QmlNavigator(QObject* parent = nullptr) : QObject(parent) {}
    void push(std::unique_ptr<Screen> screen) override {
        if (onPush) onPush(std::move(screen));
    }
    std::function<void(std::unique_ptr<Screen>)> onPush;
    void pop() override { emit popRequested(); }
    void present(const Alert& alert) override;
    void dismiss() override { emit dismissRequested(); }
    void openUrl(const std::string& url) override;
    bool canSendMail() const override;
    void composeMail(const Mail& mail) override;
signals:
    void alertRequested(QVariantMap alert);
    void dismissRequested();
    void popRequested();
};

// The graphs of one page as the document and the window have them: each graph's series and average
// line, and the left edge of the plots, shared so that graphs above each other line up.
struct PageGraphs {
    struct Graph {
        RootViewController::GraphSpec shows;
        GraphSeries series;
        double average = 0;
    };
    std::vector<Graph> graphs;
    double plotLeft = 0;
};
// Room left of a graph's value-axis labels.
inline constexpr double kGraphMargin = 6;

class Services : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the application")

    Q_PROPERTY(int pageCount READ pageCount NOTIFY changed)
    Q_PROPERTY(int meterIndex READ meterIndex NOTIFY changed)
    Q_PROPERTY(QString title READ title NOTIFY changed)
    Q_PROPERTY(QVariantList toolbar READ toolbar NOTIFY changed)
    Q_PROPERTY(bool showPageControl READ showPageControl NOTIFY changed)
    Q_PROPERTY(int revision READ revision NOTIFY changed)
    Q_PROPERTY(QObject* navigator READ navigator CONSTANT)

    // Reading entry (when open).
    Q_PROPERTY(QString entryTitle READ entryTitle NOTIFY entryChanged)
    Q_PROPERTY(QVariantList entryRows READ entryRows NOTIFY entryChanged)
    Q_PROPERTY(QVariantList entryWheels READ entryWheels NOTIFY entryChanged)
    Q_PROPERTY(bool entryKeyboard READ entryKeyboard NOTIFY entryChanged)
    Q_PROPERTY(int entryDateMode READ entryDateMode NOTIFY entryChanged)
    Q_PROPERTY(QDateTime entryDate READ entryDate NOTIFY entryChanged)
    Q_PROPERTY(QString decimalSeparator READ decimalSeparator NOTIFY entryChanged)

    // The readings list and the current period summary (when open).
    Q_PROPERTY(QString readingsTitle READ readingsTitle NOTIFY readingsChanged)
    Q_PROPERTY(QVariantList readingsSections READ readingsSections NOTIFY readingsChanged)
    Q_PROPERTY(QVariantMap readingsPeriods READ readingsPeriods NOTIFY readingsChanged)
    Q_PROPERTY(QVariantList currentSections READ currentSections NOTIFY currentChanged)
    Q_PROPERTY(QVariantList metersSections READ metersSections NOTIFY metersChanged)
    Q_PROPERTY(bool metersEditing READ metersEditing NOTIFY metersChanged)
    Q_PROPERTY(QString tariffTitle READ tariffTitle NOTIFY tariffChanged)
    // The screen a model pushed (a chooser), drawn by the generic table page.
    Q_PROPERTY(QString screenTitle READ screenTitle NOTIFY screenChanged)
    Q_PROPERTY(QVariantList screenSections READ screenSections NOTIFY screenChanged)
    Q_PROPERTY(bool screenCanDelete READ screenCanDelete NOTIFY screenChanged)
    Q_PROPERTY(bool screenCanEdit READ screenCanEdit NOTIFY screenChanged)
    Q_PROPERTY(bool screenEditing READ screenEditing NOTIFY screenChanged)
    Q_PROPERTY(bool black READ black NOTIFY changed)
    Q_PROPERTY(bool screenTakesFiles READ screenTakesFiles NOTIFY screenChanged)
    Q_PROPERTY(QVariantList tariffSections READ tariffSections NOTIFY tariffChanged)

public:
    Services(NumbrelAppDelegate& app, std::string documentsDir, QObject* parent = nullptr);

    NumbrelAppDelegate& delegate() { return app_; }
    RootViewController& root() { return root_; }

    int pageCount() const { return root_.numberOfPages(); }
    int meterIndex() const { return root_.meterIndex(); }
    QString title() const;
    QVariantList toolbar() const;
    bool showPageControl() const { return root_.showPageControl(); }
    int revision() const { return revision_; }
    QObject* navigator() { return &navigator_; }

    // A page's graphs, built once per change of the document or the window. Building them fills the
    // page's Current row.
    std::shared_ptr<const PageGraphs> pageGraphs(int page);

    Q_INVOKABLE QVariantList pageSections(int page);
    Q_INVOKABLE bool holdsGraphs(int page) const { return root_.holdsGraphs(page); }
    Q_INVOKABLE void setWindowSize(double width, double height);
    Q_INVOKABLE void pageAction(int page);
    Q_INVOKABLE void segmentAction(int tag, int index);
    Q_INVOKABLE void graphAction();
    Q_INVOKABLE QVariantMap settingsSheet() const;
    Q_INVOKABLE void appear();

    // Reading entry.
    Q_INVOKABLE void openEntry(int readingIndex = -1);
    Q_INVOKABLE void entrySelectRow(int row);
    Q_INVOKABLE void entryFlipSwitch(int tag, bool on);
    Q_INVOKABLE void entryChooseSegment(int tag, int index);
    Q_INVOKABLE void entryWheelChanged(int component, int row);
    Q_INVOKABLE void entryTypeDigit(int digit);
    Q_INVOKABLE void entryDeleteDigit();
    // Keys typed on a keyboard: on the wheels from the left, on the keypad as its buttons.
    Q_INVOKABLE void entryTypeKey(int digit);
    Q_INVOKABLE void entryBackspaceKey();
    Q_INVOKABLE void entrySelectWheel(int component);
    Q_INVOKABLE void entrySetDate(const QDateTime& date);
    Q_INVOKABLE void entrySave();
    Q_INVOKABLE void entryCancel();
    Q_INVOKABLE void answerAlert(int tag, int button);

    Q_INVOKABLE void openReadings();
    Q_INVOKABLE void readingsPeriodAction(int index);
    Q_INVOKABLE void readingsUsageAction();
    Q_INVOKABLE void readingsDoneAction();
    Q_INVOKABLE void readingsDelete(int index);
    Q_INVOKABLE void readingsEdit(int index);
    // Writes the CSV export and hands it to the desktop's mail client, or keeps it in the Documents
    // folder when there is none; says what happened.
    Q_INVOKABLE void readingsExport(bool all);
    // Writes the export where the user chose (when there is no mail client) and says where it went.
    Q_INVOKABLE void readingsSaveExport(bool all, const QUrl& where);
    // The user's own documents folder, where a save dialog starts.
    Q_INVOKABLE QUrl userDocuments() const;
    QString readingsTitle() const;
    QVariantList readingsSections() const;
    QVariantMap readingsPeriods() const;

    Q_INVOKABLE void closeReadings();
    Q_INVOKABLE void openMeters();
    Q_INVOKABLE void metersEdit(bool editing);
    Q_INVOKABLE void metersSelect(int row);
    Q_INVOKABLE void metersDelete(int row);
    Q_INVOKABLE void metersMove(int from, int to);
    Q_INVOKABLE void metersAdd();  // the name entry of a new meter
    QVariantList metersSections() const;
    bool metersEditing() const;

    // The tariff editor of a meter: rows, switches, and edits through a dialog.
    Q_INVOKABLE void openTariff(int meter);
    Q_INVOKABLE void tariffFlip(int tag, bool on);
    Q_INVOKABLE void tariffSelect(int section, int row);  // an edit dialog, or the rate-change question
    Q_INVOKABLE bool tariffApply(const QString& text, const QString& period);
    Q_INVOKABLE void tariffDone();
    QString tariffTitle() const;
    QVariantList tariffSections() const;

    Q_INVOKABLE void screenSelect(int section, int row);
    Q_INVOKABLE void screenFlip(int tag, bool on);
    Q_INVOKABLE void screenPop();
    Q_INVOKABLE void screenDelete();
    Q_INVOKABLE void screenSetEditing(bool on);
    Q_INVOKABLE void screenDeleteRow(int section, int row);
    Q_INVOKABLE void openThemes();
    Q_INVOKABLE void openBackups();
    // Copies a file into the Documents folder ("Add File…", or a file dropped on the window).
    Q_INVOKABLE void addFile(const QUrl& file);
    bool screenTakesFiles() const;
    bool screenCanDelete() const;
    bool screenCanEdit() const;
    bool screenEditing() const;
    bool black() const;

    // The editor dialog's field after an edit from current to candidate, or null when the editor
    // refuses the edit.
    Q_INVOKABLE QVariant editTyped(const QString& current, const QString& candidate) const;
    QString screenTitle() const;
    QVariantList screenSections() const;

    Q_INVOKABLE void openCurrent();
    QVariantList currentSections() const;

    QString entryTitle() const;
    QVariantList entryRows() const;
    QVariantList entryWheels() const;
    bool entryKeyboard() const;
    int entryDateMode() const;
    QDateTime entryDate() const;
    QString decimalSeparator() const;

    // Lifecycle: the save sequence when the window goes away, the foreground step when it returns.
    Q_INVOKABLE void enterBackground();
    Q_INVOKABLE void enterForeground();

signals:
    void changed();
    void entryChanged();
    void entryClosed();
    void saveFailed(QString message);
    void readingsChanged();
    void readingsClosed();
    void currentChanged();
    void entryOpened();
    void exportSaveRequested(bool all, QString suggestedName);
    void metersChanged();
    void metersClosed();
    void tariffChanged();
    void screenChanged();
    void screenPushed();
    void screenClosed();
    void tariffOpened();
    void editRequested(QVariantMap edit);
    void addFileRequested();

private:
    void touch();
    void saveSoon();
    void retire(std::shared_ptr<void> screen);
    void requestEdit();

    NumbrelAppDelegate& app_;
    std::string documentsDir_;
    RootViewController root_;
    QmlNavigator navigator_;
    std::unique_ptr<AddViewController> entry_;
    std::unique_ptr<ReadingsViewController> readings_;
    std::unique_ptr<CurrentViewController> current_;
    std::unique_ptr<MetersViewController> meters_;
    std::unique_ptr<TariffViewController> tariff_;
    std::vector<std::unique_ptr<Screen>> screens_;
    std::vector<std::shared_ptr<void>> retired_;  // closed screens, destroyed after their last call
    std::optional<ValueEdit> edit_;
    std::unique_ptr<QTemporaryDir> exports_;  // mail attachments, removed when the app ends
    QTimer saveTimer_;
    int revision_ = 0;
    std::map<int, std::pair<int, std::shared_ptr<const PageGraphs>>> graphs_;  // by page: revision, graphs
};

QVariantList toVariant(const std::vector<Section>& sections);

}  // namespace numbrel::app
