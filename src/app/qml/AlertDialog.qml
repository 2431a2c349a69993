import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Numbrel

// Alerts and action sheets of the screen models; the answer goes back by tag and button index.
Dialog {
    id: dialog
    property var alert: ({ tag: 0, title: "", message: "", buttons: [] })
    property var queue: []
    modal: true
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
    onClosed: if (queue.length > 0) show(queue.shift())
    Timer { id: timer; interval: (dialog.alert.dismissAfter || 0) * 1000; onTriggered: dialog.close() }

    contentItem: ColumnLayout {
        spacing: 12
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
                flat: true
                Layout.fillWidth: true
                onClicked: {
                    timer.stop()
                    dialog.close()
                    App.answerAlert(dialog.alert.tag, index)
                }
            }
        }
    }
}
