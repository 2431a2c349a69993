import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Numbrel

// A meter's tariff editor: every row opens an editor for its value; the switches make a register's
// rates stepped or monthly.
Page {
    id: tariffPage
    background: Rectangle { color: Theme.background }
    property string pageTitle: App.tariffTitle
    property string leftText: "‹ " + qsTr("Meters")
    property string rightText: qsTr("Done")
    function leftAction() { App.tariffDone(); stack.pop() }
    function rightAction() { App.tariffDone(); stack.pop() }

    Connections {
        target: App
        function onEditRequested(edit) { editor.show(edit) }
    }

    Flickable {
        anchors.fill: parent
        contentHeight: column.implicitHeight + 24
        ColumnLayout {
            id: column
            width: parent.width
            spacing: 16
            Item { height: 4 }
            Repeater {
                model: App.tariffSections
                delegate: TableSection {
                    required property var modelData
                    required property int index
                    Layout.fillWidth: true
                    model: modelData
                    onRowSelected: (row) => App.tariffSelect(index, row)
                    onSwitchFlipped: (tag, on) => App.tariffFlip(tag, on)
                }
            }
        }
    }

    Dialog {
        id: editor
        property var edit: ({ title: "", prompt: "", value: "", period: "", number: true })
        modal: true
        anchors.centerIn: parent
        width: Math.min(340, parent.width - 32)
        title: edit.title
        standardButtons: Dialog.Cancel | Dialog.Save
        function show(e) {
            edit = e
            field.text = e.value
            period.currentIndex = Math.max(0, ["day", "week", "month", "quarter", "year"].indexOf(e.period))
            refused.visible = false
            open()
            field.forceActiveFocus()
            field.selectAll()
        }
        onAccepted: {
            if (!App.tariffApply(field.text, edit.period ? ["day", "week", "month", "quarter", "year"][period.currentIndex] : "")) {
                refused.visible = true
                open()
            }
        }
        ColumnLayout {
            width: parent.width
            spacing: 10
            Label {
                visible: text !== ""
                text: editor.edit.prompt
                wrapMode: Text.WordWrap
                font.pixelSize: 13
                color: Theme.footer
                Layout.fillWidth: true
            }
            TextField {
                id: field
                Layout.fillWidth: true
                inputMethodHints: editor.edit.number ? Qt.ImhFormattedNumbersOnly : Qt.ImhNone
                onAccepted: editor.accept()
            }
            ComboBox {
                id: period
                visible: !!editor.edit.period
                Layout.fillWidth: true
                model: [qsTr("day"), qsTr("week"), qsTr("month"), qsTr("quarter"), qsTr("year")]
            }
            Label {
                id: refused
                visible: false
                text: qsTr("That value cannot be used here")
                color: "#ff3b30"
                font.pixelSize: 13
            }
        }
    }
}
