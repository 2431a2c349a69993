// The anchor of the app's start-up benchmark: a minimal Qt Quick Controls window (a toolbar and a list
// of ten rows, the Fusion style the app uses) that prints "first frame" once it is drawn and exits.
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickStyle>
#include <QQuickWindow>
#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    QQuickStyle::setStyle("Fusion");
    QQmlApplicationEngine engine;
    engine.loadData(R"(
import QtQuick
import QtQuick.Controls
ApplicationWindow {
    width: 390; height: 844; visible: true
    header: ToolBar { Label { anchors.centerIn: parent; text: "Minimal" } }
    ListView {
        anchors.fill: parent
        model: 10
        delegate: ItemDelegate { required property int index; width: ListView.view.width; text: "Row " + index }
    }
})");
    if (engine.rootObjects().isEmpty()) return 1;
    auto* window = qobject_cast<QQuickWindow*>(engine.rootObjects().first());
    QObject::connect(
        window, &QQuickWindow::frameSwapped, window,
        [] {
            std::printf("first frame\n");
            std::fflush(stdout);
            std::_Exit(0);
        },
        Qt::QueuedConnection);
    return app.exec();
}
