import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Numbrel

// While a job runs, the window keeps drawing but takes no edits: what the job's result replaces stays
// as it is until it arrives. Quick jobs finish before the dialog shows.
Popup {
    id: popup
    parent: Overlay.overlay  // made in a Loader: shown over the whole window
    modal: true
    closePolicy: Popup.NoAutoClose
    anchors.centerIn: parent
    width: Math.min(300, parent ? parent.width - 40 : 300)
    padding: 16
    visible: Jobs.running
    // Shown only once the job has taken a moment; until then the popup takes input unseen.
    opacity: shown ? 1 : 0
    property bool shown: false
    onVisibleChanged: { shown = false; if (visible) delay.restart() }
    // Made by its Loader while a job already runs: the change above has happened before it listens.
    Component.onCompleted: if (visible) delay.restart()
    Timer { id: delay; interval: 300; onTriggered: popup.shown = true }
    Overlay.modal: Rectangle { color: popup.shown ? "#40000000" : "transparent" }

    contentItem: ColumnLayout {
        spacing: 12
        Label {
            text: Jobs.title
            font.bold: true
            font.pixelSize: 17
            horizontalAlignment: Text.AlignHCenter
            Layout.fillWidth: true
        }
        Label {
            text: Jobs.message
            visible: text !== ""
            wrapMode: Text.Wrap
            horizontalAlignment: Text.AlignHCenter
            Layout.fillWidth: true
        }
        ProgressBar {
            objectName: "jobProgress"
            from: 0
            to: 1
            value: Jobs.progress
            indeterminate: Jobs.progress <= 0
            Layout.fillWidth: true
        }
        Shortcut { sequence: "Escape"; enabled: popup.visible && Jobs.cancellable; onActivated: Jobs.cancel() }
        Button {
            objectName: "jobCancel"
            visible: Jobs.cancellable
            text: qsTr("Cancel")
            Layout.fillWidth: true
            onClicked: Jobs.cancel()
        }
    }
}
