import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Numbrel

// A meter's readings by month with the usage and cost of each interval, the period control, the bill
// figures and the export; in editing mode readings can be deleted; a tap edits a reading.
Page {
    id: readings
    required property var model  // a ReadingsModel
    Component.onDestruction: Navigation.release(model)
    background: Rectangle { color: Theme.background }
    property bool editing: false
    property string pageTitle: model.title
    property string leftText: "‹ " + qsTr("Back")
    property string rightText: model.bills || editing ? qsTr("Done") : qsTr("Edit")
    function leftAction() { Navigation.back() }
    function rightAction() {
        if (model.bills) model.doneAction()
        else editing = !editing
    }

    ListView {
        id: list
        anchors.fill: parent
        model: readings.model
        boundsBehavior: Flickable.StopAtBounds
        ScrollBar.vertical: ScrollBar {}
        section.property: "month"
        section.delegate: Label {
            required property string section
            text: section.toUpperCase()
            color: Theme.footer
            font.pixelSize: 13
            leftPadding: 16
            topPadding: 16
            bottomPadding: 6
        }
        delegate: Rectangle {
            id: readingRow
            required property int reading
            required property string date
            required property string registers
            required property string usage
            required property string cost
            required property bool bill
            required property bool several
            // Deleting takes two steps: "−" shows the row's Delete button, and only that deletes.
            property bool revealed: false
            Connections { target: readings; function onEditingChanged() { readingRow.revealed = false } }
            width: list.width
            height: 56
            color: mouse.pressed ? "#d9d9d9" : Theme.row
            MouseArea {
                id: mouse
                anchors.fill: parent
                enabled: !readings.editing
                onClicked: readings.model.editReading(readingRow.reading)
            }
            RowLayout {
                anchors.fill: parent
                anchors.leftMargin: 16
                anchors.rightMargin: 12
                spacing: 10
                ColouredButton {
                    objectName: "minus-" + readingRow.reading
                    visible: readings.editing
                    text: "−"
                    colour: "#ff3b30"
                    Layout.preferredWidth: 32
                    rotation: readingRow.revealed ? 90 : 0
                    onClicked: readingRow.revealed = !readingRow.revealed
                }
                ColumnLayout {
                    spacing: 2
                    Label {
                        text: readingRow.date
                        font.pixelSize: 15
                        color: readingRow.bill ? Qt.rgba(0.0039, 0.482, 1.0, 1) : Theme.label
                    }
                    Label { text: readingRow.registers; font.pixelSize: 13; color: Theme.detail }
                }
                Item { Layout.fillWidth: true }
                ColumnLayout {
                    spacing: 2
                    Label {
                        Layout.alignment: Qt.AlignRight
                        text: (readingRow.several && readingRow.usage !== "" ? qsTr("Total") + " " : "") + readingRow.usage
                        font.pixelSize: 15
                    }
                    Label {
                        Layout.alignment: Qt.AlignRight
                        text: readingRow.cost
                        visible: text !== ""
                        font.pixelSize: 13
                        color: Theme.detail
                    }
                }
                ColouredButton {
                    objectName: "delete-" + readingRow.reading
                    visible: readings.editing && readingRow.revealed
                    text: qsTr("Delete")
                    colour: "#ff3b30"
                    onClicked: readings.model.deleteReading(readingRow.reading)
                }
            }
            Rectangle { anchors.bottom: parent.bottom; anchors.left: parent.left; anchors.leftMargin: 16; anchors.right: parent.right; height: 1; color: Theme.separator }
        }
    }

    footer: ToolBar {
        background: Rectangle { color: Theme.bar; Rectangle { width: parent.width; height: 1; color: Theme.separator } }
        RowLayout {
            anchors.fill: parent
            anchors.leftMargin: 4
            anchors.rightMargin: 4
            ToolButton {
                text: "Σ"
                font.pixelSize: 20
                enabled: !readings.editing
                onClicked: readings.model.usageAction()
            }
            Item { Layout.fillWidth: true }
            SegmentedControl {
                items: readings.model.periods
                selected: readings.model.period
                onChosen: (i) => { if (!readings.editing) readings.model.periodAction(i) }
            }
            Item { Layout.fillWidth: true }
            ToolButton {
                objectName: "exportButton"
                icon.source: "qrc:/Numbrel/icons/mail.svg"
                icon.color: Theme.tint
                enabled: !readings.editing
                onClicked: readings.model.exportAction()
            }
        }
    }
}
