import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Numbrel

// Alerts and action sheets of the screens; the answer goes back through the navigation stack to the
// screen that presented it (by the alert's ticket). Escape answers the cancel button and Enter the
// default one, as the screen names them.
Dialog {
    id: dialog
    property var alert: ({ ticket: 0, title: "", message: "", buttons: [], cancelButton: -1, defaultButton: -1 })
    property var queue: []
    modal: true
    closePolicy: Popup.NoAutoClose  // an alert is answered, never just dropped
    anchors.centerIn: parent
    width: Math.min(300, parent ? parent.width - 40 : 300)
    padding: 16
    title: ""

    function show(a) {
        if (visible) { queue.push(a); return }
        alert = a
        open()
        if (a.dismissAfter > 0) timer.restart()
    }
    function answer(index) {
        if (index < 0 || index >= alert.buttons.length) return
        timer.stop()
        close()
        Navigation.answer(alert.ticket, index)
    }
    onClosed: if (queue.length > 0) show(queue.shift())
    Timer { id: timer; interval: (dialog.alert.dismissAfter || 0) * 1000; onTriggered: dialog.close() }

    contentItem: ColumnLayout {
        spacing: 12
        Shortcut { sequence: "Escape"; enabled: dialog.visible; onActivated: dialog.answer(dialog.alert.cancelButton) }
        Shortcut { sequences: ["Return", "Enter"]; enabled: dialog.visible; onActivated: dialog.answer(dialog.alert.defaultButton) }
        Label {
            text: dialog.alert.title
            font.bold: true
            font.pixelSize: 17
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
            Layout.fillWidth: true
        }
        Label {
            visible: text !== ""
            text: dialog.alert.message || ""
            font.pixelSize: 14
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
            Layout.fillWidth: true
        }
        Repeater {
            model: dialog.alert.buttons
            delegate: Button {
                required property string modelData
                required property int index
                objectName: "alertButton-" + index
                text: modelData
                highlighted: index === dialog.alert.defaultButton
                font.bold: index === dialog.alert.defaultButton
                Layout.fillWidth: true
                onClicked: dialog.answer(index)
            }
        }
    }
}
