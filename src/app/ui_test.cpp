#include "ui_test.h"

#include <QFile>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>
#include <iostream>

#include "app_services.h"
#include "exchange/backup_view_controller.h"
#include "store/document.h"

namespace numbrel::app {

namespace {

// Items made by repeaters have no QObject parent: search the visual tree.
QQuickItem* findIn(QQuickItem* item, const QString& name) {
    if (!item) return nullptr;
    if (item->objectName() == name && item->isVisible()) return item;
    for (QQuickItem* child : item->childItems())
        if (QQuickItem* found = findIn(child, name)) return found;
    return nullptr;
}

QQuickItem* find(QQuickWindow& window, const QString& name) {
    QQuickItem* root = window.contentItem();
    while (root->parentItem())
        root = root->parentItem();
    return findIn(root, name);
}

QPoint centreOf(QQuickItem* item) {
    return item->mapToScene(QPointF(item->width() / 2, item->height() / 2)).toPoint();
}

bool waitFor(const std::function<bool()>& condition, int ms = 3000) {
    for (int waited = 0; waited < ms; waited += 20) {
        if (condition()) return true;
        QTest::qWait(20);
    }
    return condition();
}

bool fail(const char* step) {
    std::cerr << "ui test: " << step << "\n";
    return false;
}

std::string readingsRow(Services& services) {
    return detailOf(services.root().sections(0), "Readings");
}

bool typeAConversionFactor(QQuickWindow& window, Services& services);
bool backUpAndRestore(Services& services);

bool run(QQuickWindow& window, Services& services) {
    if (readingsRow(services) != "None") return fail("a fresh store should show no readings");
    QQuickItem* add = find(window, "addButton");
    if (!add) return fail("no + button");
    QTest::mouseClick(&window, Qt::LeftButton, {}, centreOf(add));
    QQuickItem* wheel = nullptr;
    if (!waitFor(
            [&] { return (wheel = find(window, "wheel-4")) && wheel->isVisible() && wheel->width() > 0; }))
        return fail("reading entry did not open with wheels");
    QTest::qWait(400);  // the page transition

    // Turn the last whole-number wheel by dragging it up by about two rows.
    int before = wheel->property("currentIndex").toInt();
    QPoint start = centreOf(wheel);
    QTest::mousePress(&window, Qt::LeftButton, {}, start);
    for (int dy = 0; dy <= 80; dy += 8)
        QTest::mouseMove(&window, start - QPoint(0, dy), 15);
    QTest::mouseRelease(&window, Qt::LeftButton, {}, start - QPoint(0, 80), 15);
    if (!waitFor([&] { return !wheel->property("moving").toBool(); })) return fail("the wheel kept moving");
    int turned = wheel->property("currentIndex").toInt() - before;
    if (turned <= 0) return fail("the wheel did not turn");

    QTest::mouseClick(&window, Qt::LeftButton, {}, centreOf(find(window, "addButton")));  // "Save"
    QQuickItem* done = nullptr;
    if (!waitFor([&] { return (done = find(window, "alertButton-0")) && done->isVisible(); }))
        return fail("no \"Reading Saved\" alert");
    QTest::qWait(300);
    QTest::mouseClick(&window, Qt::LeftButton, {}, centreOf(done));
    if (!waitFor([&] { return readingsRow(services) != "None"; }))
        return fail("the Readings row did not change");

    const Value& meter = (*metersOf(services.delegate().settings()))[0];
    const Value& reading = meter.find("readings")->array()[0];
    double value = reading.find("reading")->array()[0].real();
    if (value != turned * 1.0) {
        std::cerr << "ui test: saved " << value << ", expected " << turned << "\n";
        return false;
    }
    // The store is written within a second of saving a reading.
    std::string path = services.delegate().store().path();
    if (!waitFor([&] { return QFile::exists(QString::fromStdString(path)); }, 1500))
        return fail("the store was not written within a second of saving");
    std::cout << "ui test: saved a reading of " << value << "; the Readings row shows \""
              << readingsRow(services) << "\"\n";
    return typeAConversionFactor(window, services);
}

// The editor dialog applies the number field's rules keystroke by keystroke, and Enter saves.
bool typeAConversionFactor(QQuickWindow& window, Services& services) {
    services.openMeters();
    services.openTariff(0);
    services.tariffSelect(1, 1);  // "Conversion"
    QQuickItem* field = nullptr;
    if (!waitFor([&] { return (field = find(window, "editorField")) && field->hasActiveFocus(); }))
        return fail("the number editor did not open with its field focused");
    QTest::keyClick(&window, Qt::Key_Backspace);  // the selected value goes: the field shows 0
    if (field->property("text").toString() != "0") return fail("an emptied number field should show 0");
    // The letter and the second point are refused; 0 then 5 gives 5.
    for (char c : std::string("x05.2."))
        QTest::keyClick(&window, c);
    QString typed = field->property("text").toString();
    if (typed != "5.2") {
        std::cerr << "ui test: typed \"" << typed.toStdString() << "\", expected \"5.2\"\n";
        return false;
    }
    QTest::keyClick(&window, Qt::Key_Return);
    const Value& meter = (*metersOf(services.delegate().settings()))[0];
    if (!waitFor([&] { return realOf(meter, "factor") == 5.2; })) return fail("Enter did not save 5.2");
    std::cout << "ui test: typed a conversion factor of 5.2 into the number editor\n";
    return backUpAndRestore(services);
}

// "Backup Now", a change, then "Restore Backup" from the file menu brings the document back and
// closes the backups screen.
bool backUpAndRestore(Services& services) {
    services.openBackups();
    if (!services.screenTakesFiles()) return fail("the backups screen did not open");
    services.screenSelect(1, 0);  // "Backup Now"
    QVariantList sections = services.screenSections();
    QVariantList files = sections.value(2).toMap().value("rows").toList();
    if (files.isEmpty()) return fail("Backup Now listed no file");
    Value before = services.delegate().settings();
    Value& meter = (*metersOf(services.delegate().settings()))[0];
    meter.set("name", "Changed after the backup");
    QVariantMap menu;
    auto* nav = qobject_cast<QmlNavigator*>(services.navigator());
    QMetaObject::Connection seen =
        QObject::connect(nav, &QmlNavigator::alertRequested, [&](const QVariantMap& a) { menu = a; });
    services.screenSelect(2, 0);
    QObject::disconnect(seen);
    int restore = static_cast<int>(menu.value("buttons").toStringList().indexOf("Restore Backup"));
    if (restore < 0) return fail("the file menu of a backup offers no \"Restore Backup\"");
    services.answerAlert(BackupViewController::kFileMenuTag, restore);
    if (services.screenTakesFiles()) return fail("the backups screen stayed open after a restore");
    if (services.delegate().settings() != before) return fail("the restore did not bring the backup back");
    std::cout << "ui test: backed up, changed a meter, restored "
              << files.value(0).toMap().value("label").toString().toStdString() << "\n";
    return true;
}

}  // namespace

int runUiTest(QQuickWindow& window, Services& services) {
    return run(window, services) ? 0 : 1;
}

}  // namespace numbrel::app
