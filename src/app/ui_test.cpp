#include "ui_test.h"

#include "window_driver.h"

#include <QDir>
#include <QFile>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>
#include <QWheelEvent>
#include <cmath>
#include <iostream>

#include "desktop.h"
#include "entry_model.h"
#include "exchange/backup_view_controller.h"
#include "main_model.h"
#include "navigation_stack.h"
#include "store/app_delegate.h"
#include "store/document.h"
#include "store/file_ops.h"
#include "store/preferences_store.h"
#include "table_model.h"

namespace numbrel::app {

namespace {

// A walk through the app with the mouse, the mouse wheel and the keyboard, as a person would go, each
// step checked against the document and what the screen shows.
class Walk : public WindowDriver {
public:
    Walk(QQuickWindow& window, NavigationStack& stack) : WindowDriver(window), stack_(stack) {}

    bool run() {
        return tour() && priceComparison() && wheelReading() && keyboardReading() && conversionFactor() &&
               addFile() && backUpAndRestore() && holdBars() && exportAndTwoStepDelete() &&
               editorOutlivesDocument() && editRates();
    }

private:
    Value& meter(int i) { return (*metersOf(stack_.app().settings()))[static_cast<std::size_t>(i)]; }
    std::size_t readings(int i) {
        const Value* r = meter(i).find("readings");
        return r ? r->array().size() : 0;
    }
    std::string readingsRow() { return detailOf(stack_.main()->root().sections(0), "Readings"); }
    QString entryReading() {
        auto* entry = qobject_cast<EntryModel*>(stack_.topModel());
        return entry ? entry->reading() : QString();
    }
    int meterIndex() { return stack_.main()->meterIndex(); }
    TableModel* top() { return qobject_cast<TableModel*>(stack_.topModel()); }
    // The label of the first row of a section of the screen on top.
    QString firstLabelIn(int section) {
        TableModel* t = top();
        const int first = t ? t->firstOf(section) : -1;
        return first < 0 ? QString() : t->data(t->index(first), TableModel::LabelRole).toString();
    }

    // "Meters" in the bar, then the first meter's rates button: its tariff editor.
    bool openRates() {
        click(find("leftButton"));
        if (!pageTitled("Meters") || !click(find("info-0")))
            return fail("no rates button on the meters list");
        return waitFor([&] { return findText("Conversion") != nullptr; }) ||
               fail("the tariff editor did not open");
    }

    // A fresh store starts the tour: "Next" by mouse, then Escape ends it for good.
    bool tour() {
        if (!waitFor([&] { return alertShown("Getting Started"); })) return fail("the tour did not start");
        if (!clickText("Next") || !waitFor([&] { return alertShown("Default Meters"); }))
            return fail("Next did not lead to the second step of the tour");
        key(Qt::Key_Escape);
        if (!waitFor([&] { return !boolOf(stack_.app().settings(), "tour", true); }))
            return fail("Escape did not end the tour");
        settle();
        return !alertShown("Default Meters") || fail("the tour's alert stayed open");
    }

    // The power-switch button on a fresh store: the meter has no postcode or readings yet, so the alert
    // says what a comparison needs, and Escape closes it.
    bool priceComparison() {
        if (!click(find("compareButton"))) return fail("no price comparison button");
        if (!alertShown("Price Comparison")) return fail("the price comparison button showed nothing");
        key(Qt::Key_Escape);
        if (!waitFor([&] { return !find("alertButton-0"); })) return fail("Escape left the alert open");
        std::cout << "ui test: the price comparison said what a meter needs\n";
        return true;
    }

    // "+", a wheel dragged up by about two rows, "Save", and "Done" on "Reading Saved".
    bool wheelReading() {
        if (readingsRow() != "None") return fail("a fresh store should show no readings");
        if (!click(find("addButton"))) return fail("no + button");
        QQuickItem* wheel = nullptr;
        if (!waitFor([&] { return (wheel = find("wheel-4")) && wheel->width() > 0; }))
            return fail("reading entry did not open with wheels");
        QTest::qWait(400);  // the page transition
        int before = wheel->property("currentIndex").toInt();
        QPoint start = centreOf(wheel);
        QTest::mousePress(&window_, Qt::LeftButton, {}, start);
        for (int dy = 0; dy <= 80; dy += 8)
            QTest::mouseMove(&window_, start - QPoint(0, dy), 15);
        QTest::mouseRelease(&window_, Qt::LeftButton, {}, start - QPoint(0, 80), 15);
        if (!waitFor([&] { return !wheel->property("moving").toBool(); }))
            return fail("the wheel kept moving");
        turned_ = wheel->property("currentIndex").toInt() - before;
        if (turned_ <= 0) return fail("the wheel did not turn");
        click(find("addButton"));  // "Save"
        if (!alertShown("Reading Saved")) return fail("no \"Reading Saved\" alert");
        click(find("alertButton-0"));
        if (!waitFor([&] { return readingsRow() != "None"; })) return fail("the Readings row did not change");
        double value = meter(0).find("readings")->array()[0].find("reading")->array()[0].real();
        if (value != turned_)
            return fail("saved " + std::to_string(value) + ", not " + std::to_string(turned_));
        std::string path = stack_.app().store().path();
        if (!waitFor([&] { return QFile::exists(QString::fromStdString(path)); }, 1500))
            return fail("the store was not written within a second of saving");
        std::cout << "ui test: saved a reading of " << value << " on the wheels\n";
        return true;
    }

    // The right arrow goes to the next meter; there a mouse-wheel notch turns a wheel by one digit, a
    // click on a digit turns its wheel there, and typed digits fill the wheels from the left.
    bool keyboardReading() {
        settle();
        key(Qt::Key_Right);
        if (!waitFor([&] { return meterIndex() == 1; })) return fail("the right arrow did not go to Gas");
        click(find("addButton"));
        settle();
        QQuickItem* first = find("wheel-0");
        if (!first) return fail("no wheels for Gas");
        QString start = entryReading();
        QPoint at = centreOf(first);
        QWheelEvent notch(QPointF(at), QPointF(window_.mapToGlobal(at)), QPoint(), QPoint(0, -120),
                          Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QGuiApplication::sendEvent(&window_, &notch);
        QTest::qWait(50);
        QString after = entryReading();
        if (after.size() != start.size() || after.mid(1) != start.mid(1) ||
            after[0].digitValue() != (start[0].digitValue() + 1) % 10)
            return fail("a wheel notch turned " + start.toStdString() + " into " + after.toStdString());
        QTest::mouseClick(&window_, Qt::LeftButton, {}, centreOf(find("wheel-2")) - QPoint(0, 40));
        QTest::qWait(50);
        if (entryReading()[2].digitValue() != (after[2].digitValue() + 9) % 10)
            return fail("a click on the digit above did not turn the wheel there: " +
                        entryReading().toStdString());
        click(first);  // the cursor back to the left
        type("012345");
        key(Qt::Key_Backspace);
        type("9");
        if (entryReading() != "01234.9")
            return fail("typed 01234.5, Backspace, 9 gave " + entryReading().toStdString());
        key(Qt::Key_Return);  // Save
        if (!alertShown("Reading Saved")) return fail("Enter did not save");
        key(Qt::Key_Escape);  // "Done"
        if (!waitFor([&] { return readings(1) == 1; }))
            return fail("the typed reading is not in the document");
        if (meter(1).find("readings")->array()[0].find("reading")->array()[0].real() != 1234.9)
            return fail("the typed reading is not 1234.9");
        key(Qt::Key_Left);
        if (!waitFor([&] { return meterIndex() == 0 && !find("wheel-0"); }))
            return fail("Escape and the left arrow did not come back to Electricity");
        std::cout << "ui test: typed 1234.9 for Gas on the keyboard\n";
        return true;
    }

    // The editor dialog applies the number field's rules keystroke by keystroke, and Enter saves.
    bool conversionFactor() {
        settle();
        if (!openRates()) return false;
        if (!waitFor([&] { return top() && top()->find("Conversion") >= 0; }))
            return fail("the tariff editor did not open");
        top()->select(top()->find("Conversion"));
        QQuickItem* field = nullptr;
        if (!waitFor([&] { return (field = find("editorField")) && field->hasActiveFocus(); }))
            return fail("the number editor did not open with its field focused");
        key(Qt::Key_Backspace);  // the selected value goes: the field shows 0
        if (field->property("text").toString() != "0") return fail("an emptied number field should show 0");
        type("x05.2.");  // the letter and the second point are refused; 0 then 5 gives 5
        if (field->property("text").toString() != "5.2")
            return fail("typed " + field->property("text").toString().toStdString());
        key(Qt::Key_Return);
        if (!waitFor([&] { return realOf(meter(0), "factor") == 5.2; }))
            return fail("Enter did not save 5.2");
        key(Qt::Key_Escape);  // the tariff editor
        key(Qt::Key_Escape);  // the meters list
        if (!pageTitled("Electricity")) return fail("Escape did not go back to the main screen");
        std::cout << "ui test: typed a conversion factor of 5.2 into the number editor\n";
        return true;
    }
    // The gear menu's "Backups", "Add File…" through the file dialog, and the added file imported from
    // its menu: a year of monthly readings.
    bool addFile() {
        QDir folder(QDir::temp().filePath("numbrel-ui-test-files"));
        folder.removeRecursively();
        QDir().mkpath(folder.path());
        QString csv = folder.filePath("months.csv");
        QFile file(csv);
        if (!file.open(QIODevice::WriteOnly)) return fail("cannot write " + csv.toStdString());
        for (int m = 0; m < 12; ++m)
            file.write(QString("Electricity,22/%1/%2 10:00,%3,0,0\n")
                           .arg((10 + m) % 12 + 1, 2, 10, QChar('0'))
                           .arg(m < 2 ? 2025 : 2026)
                           .arg(m / 10.0, 0, 'f', 1)
                           .toUtf8());
        file.close();
        click(find("gearButton"));
        if (!alertShown("No Backups Found!")) return fail("no gear menu");
        click(find("alertButton-0"));  // "Backups"
        if (!pageTitled("Backups") || !clickText("Add File…"))
            return fail("no Add File row on the backups screen");
        QObject* dialog = window_.findChild<QObject*>("addDialog");
        if (!dialog || !waitFor([&] { return dialog->property("visible").toBool(); }))
            return fail("the Add File dialog did not open");
        // In the dialog: the folder, the file clicked in its list, then "Open".
        dialog->setProperty("currentFolder", QUrl::fromLocalFile(folder.path()));
        if (!clickText("months.csv")) return fail("the Add File dialog does not list the file");
        if (!clickText("Add")) return fail("the Add File dialog has no Add button");
        if (!waitFor([&] { return !dialog->property("visible").toBool() && findText("months.csv"); }))
            return fail("the added file is not listed");
        folder.removeRecursively();
        clickText("months.csv");
        if (!alertShown("months.csv") || !clickText("Import CSV File")) return fail("no file menu");
        if (!alertShown("CSV File Verified")) return fail("the file did not verify");
        key(Qt::Key_Return);  // "Import"
        if (!alertShown("Readings Imported")) return fail("Enter did not import");
        key(Qt::Key_Return);  // "OK"
        if (readings(0) != 13)
            return fail("the import gave " + std::to_string(readings(0)) + " readings, not 13");
        std::cout << "ui test: added a file through the dialog and imported 12 readings from it\n";
        return true;
    }

    // "Backup Now", a change, then "Restore Backup" from the file menu brings the document back and
    // closes the backups screen.
    bool backUpAndRestore() {
        if (!clickText("Backup Now")) return fail("no Backup Now row");
        QString name;
        if (!waitFor([&] { return (name = firstLabelIn(2)).endsWith(".bak"); }))
            return fail("Backup Now listed no file");
        Value before = stack_.app().settings();
        meter(0).set("name", "Changed after the backup");
        clickText(name);
        if (!alertShown(name) || !clickText("Restore Backup"))
            return fail("a backup's menu offers no Restore Backup");
        if (!pageTitled("Electricity")) return fail("the backups screen stayed open after a restore");
        if (stack_.app().settings() != before) return fail("the restore did not bring the backup back");
        key(Qt::Key_Return);  // "Backup Restored"
        std::cout << "ui test: backed up, changed a meter, restored " << name.toStdString() << "\n";
        return true;
    }

    // Monthly bars held at the left edge, in the middle and at the right edge: each shows its own month.
    bool holdBars() {
        if (!clickText("M")) return fail("no M segment");
        QQuickItem* graph = nullptr;
        if (!waitFor([&] { return (graph = find("graph-0-0")) && title(graph) == "Monthly Usage (kWh)"; }))
            return fail("no monthly usage graph");
        const double left = graph->property("plotLeft").toDouble(), w = graph->width();
        struct Hold {
            double x;
            const char* month;
        };
        for (const Hold& h : {Hold{2, "Dec 2025: "}, Hold{left + (w - left) * 5.5 / 12, "May 2026: "},
                              Hold{w - 2, "Nov 2026: "}}) {
            QPoint at = graph->mapToScene(QPointF(h.x, graph->height() / 2)).toPoint();
            QTest::mousePress(&window_, Qt::LeftButton, {}, at);
            QTest::qWait(700);
            QString held = title(graph);
            QTest::mouseRelease(&window_, Qt::LeftButton, {}, at);
            if (!held.startsWith(h.month))
                return fail("held at x " + std::to_string(h.x) + ": " + held.toStdString() + ", not " +
                            h.month);
        }
        if (meterIndex() != 0) return fail("holding a bar moved the pager");
        std::cout << "ui test: held the first, a middle and the last monthly bar\n";
        return true;
    }
    QString title(QQuickItem* graph) {
        QString out;
        QMetaObject::invokeMethod(graph, "title", Q_RETURN_ARG(QString, out));
        return out;
    }

    // The readings list: the export saved to a file through the save dialog, then a reading deleted
    // in two steps ("−" shows Delete, and only Delete deletes).
    bool exportAndTwoStepDelete() {
        if (!clickText("Readings") || !pageTitled("Readings")) return fail("the readings list did not open");
        click(find("exportButton"));
        if (!clickText("This Single Meter")) return fail("no export menu");
        QObject* dialog = window_.findChild<QObject*>("saveDialog");
        if (!dialog || !waitFor([&] { return dialog->property("visible").toBool(); }))
            return fail("the save dialog did not open");
        // It starts in the documents folder with the export's name filled in; another name is typed.
        QQuickItem* name = nullptr;
        if (!waitFor([&] { return (name = find("fileNameTextField")) != nullptr; }))
            return fail("the save dialog has no file name field");
        if (name->property("text").toString() != "electricity.csv" ||
            dialog->property("currentFolder").toUrl() != userDocuments())
            return fail("the save dialog does not start in the documents folder with electricity.csv");
        click(name);
        QTest::keySequence(&window_, QKeySequence::SelectAll);
        type("walk.csv");
        QString out = userDocuments().toLocalFile() + "/walk.csv";
        if (!clickText("Save")) return fail("the save dialog has no Save button");
        if (!alertShown("CSV Export")) return fail("the export did not say where it went");
        std::string error;
        std::optional<std::string> bytes = readWholeFile(out.toStdString(), error);
        QFile::remove(out);
        if (!bytes || bytes->rfind("\"Meter\",\"Date\",\"Reading\"", 0) != 0)
            return fail("the export file is not there");
        key(Qt::Key_Return);

        click(find("addButton"));  // "Edit"
        const std::size_t count = readings(0);
        if (!waitFor([&] { return find("minus-0") != nullptr; }) || !click(find("minus-0")))
            return fail("no − in editing mode");
        if (readings(0) != count) return fail("− deleted a reading by itself");
        if (!waitFor([&] { return find("delete-0") != nullptr; }) || !click(find("delete-0")))
            return fail("− did not show Delete");
        if (readings(0) != count - 1) return fail("Delete did not delete");
        key(Qt::Key_Escape);
        if (!pageTitled("Electricity")) return fail("Escape did not go back");
        std::cout << "ui test: exported to a file, deleted a reading with − and Delete\n";
        return true;
    }

    // An editor left open while the document is replaced writes nothing and says so; the rate stays.
    bool editorOutlivesDocument() {
        if (!openRates()) return false;
        if (!clickText("Rate")) return fail("no Rate row");
        QQuickItem* field = nullptr;
        if (!waitFor([&] { return (field = find("editorField")) && field->hasActiveFocus(); }))
            return fail("the rate editor did not open");
        const Value* rates = meter(0).find("tariffs")->at(0)->find("rates");
        const double rate = realOf(*rates->at(0), "rate");
        stack_.app().adoptDocument(Value(stack_.app().settings()));  // as a restore would
        QTest::keySequence(&window_, QKeySequence::SelectAll);
        type("0.99");
        key(Qt::Key_Return);
        if (!alertShown("Warning!")) return fail("an editor outliving its document said nothing");
        key(Qt::Key_Return);
        const Value* now = meter(0).find("tariffs")->at(0)->find("rates");
        if (realOf(*now->at(0), "rate") != rate) return fail("the editor wrote into the new document");
        key(Qt::Key_Escape);  // the tariff editor
        key(Qt::Key_Escape);  // the meters list
        if (!pageTitled("Electricity")) return fail("Escape did not go back to the main screen");
        std::cout << "ui test: an editor left open over a restore wrote nothing and said so\n";
        return true;
    }

    // A rate edited through the meters list's rates button reaches the disk within about a second;
    // a second edit is left for the signal that ends the walk.
    bool editRates() {
        if (!openRates()) return false;
        if (!waitFor([&] { return findText("Conversion") != nullptr; }))
            return fail("the tariff editor did not open");
        if (!editNumber("Rate", "0.25")) return fail("the rate editor did not take 0.25");
        std::string path = stack_.app().store().path();
        auto onDisk = [&](const char* key, double want) {
            std::string error;
            std::optional<std::string> bytes = readWholeFile(path, error);
            std::optional<Value> stored = bytes ? PreferencesStore::parse(*bytes, error) : std::nullopt;
            const Value* meters = stored ? stored->find("settings") : nullptr;
            const Value* m = meters ? meters->at(0) : nullptr;
            if (!m) return false;
            if (std::string(key) == "rate") {
                const Value* t = m->find("tariffs");
                const Value* r = t && t->at(0) ? t->at(0)->find("rates") : nullptr;
                return r && r->at(0) && realOf(*r->at(0), "rate") == want;
            }
            return realOf(*m, key) == want;
        };
        if (!waitFor([&] { return onDisk("rate", 0.25); }, 1500))
            return fail("the new rate was not on disk within 1.5 s");
        if (!editNumber("Tax %", "7")) return fail("the tax editor did not take 7");
        std::cout << "ui test: a new rate was on disk within a second\n";
        return true;
    }
    bool editNumber(const QString& label, const std::string& value) {
        if (!clickText(label)) return fail("no row " + label.toStdString());
        QQuickItem* field = nullptr;
        if (!waitFor([&] { return (field = find("editorField")) && field->hasActiveFocus(); }))
            return fail("no editor for " + label.toStdString() +
                        (find("editorField") ? " (not focused)" : " (none)"));
        QTest::keySequence(&window_, QKeySequence::SelectAll);
        type(value);
        key(Qt::Key_Return);
        return waitFor([&] { return !find("editorField"); }) ||
               fail("the editor stayed open: " + field->property("text").toString().toStdString());
    }

    NavigationStack& stack_;
    int turned_ = 0;
};

}  // namespace

int runUiTest(QQuickWindow& window, NavigationStack& stack) {
    return Walk(window, stack).run() ? 0 : 1;
}

}  // namespace numbrel::app
