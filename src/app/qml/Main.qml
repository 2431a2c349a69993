import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Numbrel

ApplicationWindow {
    id: window
    width: 390
    height: 844
    visible: true
    title: "Numbrel"
    color: Theme.background

    property var startupAlerts: []

    onWidthChanged: App.setWindowSize(width, height)
    onHeightChanged: App.setWindowSize(width, height)
    Component.onCompleted: {
        App.setWindowSize(width, height)
        for (const a of startupAlerts) alertDialog.show(a)
        App.appear()
    }

    function openEntry(readingIndex) {
        App.openEntry(readingIndex === undefined ? -1 : readingIndex)
        stack.push(entryPage)
    }
    // For screenshots: "entry" (reading entry) or "sheet" (the settings menu).
    function showForScreenshot(what) {
        if (what === "entry") openEntry(-1)
        if (what === "sheet") alertDialog.show(App.settingsSheet())
    }
    function selfTest() {
        openEntry(-1)
        stack.pop()
        alertDialog.show(App.settingsSheet())
        alertDialog.close()
    }

    header: ToolBar {
        background: Rectangle { color: Theme.bar; Rectangle { anchors.bottom: parent.bottom; width: parent.width; height: 1; color: Theme.separator } }
        RowLayout {
            anchors.fill: parent
            ToolButton {
                text: stack.depth > 1 ? qsTr("Cancel") : ""
                enabled: stack.depth > 1
                onClicked: { App.entryCancel() }
                Layout.preferredWidth: 80
            }
            Label {
                text: stack.depth > 1 ? App.entryTitle : App.title
                font.bold: true
                font.pixelSize: 17
                horizontalAlignment: Text.AlignHCenter
                Layout.fillWidth: true
                elide: Text.ElideRight
            }
            ToolButton {
                objectName: "addButton"
                text: stack.depth > 1 ? qsTr("Save") : "+"
                font.pixelSize: stack.depth > 1 ? 15 : 26
                font.bold: stack.depth > 1
                Layout.preferredWidth: 80
                onClicked: stack.depth > 1 ? App.entrySave() : window.openEntry(-1)
            }
        }
    }

    StackView {
        id: stack
        anchors.fill: parent
        initialItem: MainPage {}
    }

    Component {
        id: entryPage
        EntryPage {}
    }

    Connections {
        target: App
        function onEntryClosed() { if (stack.depth > 1) stack.pop() }
        function onSaveFailed(message) {
            alertDialog.show({ tag: -1, title: qsTr("Warning!"), message: qsTr("Your readings could not be saved: ") + message, buttons: [qsTr("OK")] })
        }
    }
    Connections {
        target: App.navigator
        function onAlertRequested(alert) { alertDialog.show(alert) }
    }

    AlertDialog { id: alertDialog }
}
