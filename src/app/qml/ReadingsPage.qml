import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Numbrel

// A meter's readings by month with the usage and cost of each interval, the period control, the bill
// figures and the export; in edit mode readings can be deleted; a tap edits a reading.
Page {
    id: readings
    background: Rectangle { color: Theme.background }
    property bool editing: false
    property var periods: App.readingsPeriods
    property string pageTitle: App.readingsTitle
    property string leftText: "‹ " + qsTr("Back")
    property string rightText: periods.bills ? qsTr("Done") : (editing ? qsTr("Done") : qsTr("Edit"))
    function leftAction() { App.closeReadings(); stack.pop() }
    function rightAction() {
        if (periods.bills) App.readingsDoneAction()
        else editing = !editing
    }

    Connections {
        target: App
        function onEntryClosed() { App.readingsPeriodAction(readings.periods.selected) }  // re-read the list
        function onChanged() { App.readingsPeriodAction(readings.periods.selected) }
    }

    ListView {
        id: list
        anchors.fill: parent
        model: App.readingsSections
        spacing: 8
        topMargin: 8
        delegate: ColumnLayout {
            required property var modelData
            width: list.width
            spacing: 0
            Label {
                text: modelData.title.toUpperCase()
                visible: modelData.title !== ""
                color: Theme.footer
                font.pixelSize: 13
                Layout.leftMargin: 16
                Layout.topMargin: 8
                Layout.bottomMargin: 6
            }
            Repeater {
                model: modelData.rows
                delegate: Rectangle {
                    id: readingRow
                    required property var modelData
                    // Deleting takes two steps: "−" shows the row's Delete button, and only that deletes.
                    property bool revealed: false
                    Connections { target: readings; function onEditingChanged() { readingRow.revealed = false } }
                    Layout.fillWidth: true
                    Layout.preferredHeight: 56
                    color: mouse.pressed ? "#d9d9d9" : Theme.row
                    MouseArea {
                        id: mouse
                        anchors.fill: parent
                        enabled: !readings.editing
                        onClicked: App.readingsEdit(modelData.index)
                    }
                    RowLayout {
                        anchors.fill: parent
                        anchors.leftMargin: 16
                        anchors.rightMargin: 12
                        spacing: 10
                        ColouredButton {
                            objectName: "minus-" + modelData.index
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
                                text: modelData.date
                                font.pixelSize: 15
                                color: modelData.bill ? Qt.rgba(0.0039, 0.482, 1.0, 1) : Theme.label
                            }
                            Label {
                                // Each register with its own usage over the interval, when there are several.
                                text: modelData.registers.map((r, i) => modelData.registerUsage.length > i
                                                              ? r + " (" + modelData.registerUsage[i] + ")" : r).join("   ")
                                font.pixelSize: 13
                                color: Theme.detail
                            }
                        }
                        Item { Layout.fillWidth: true }
                        ColumnLayout {
                            spacing: 2
                            Label {
                                Layout.alignment: Qt.AlignRight
                                text: (modelData.registers.length > 1 && modelData.usage !== "" ? qsTr("Total") + " " : "") + modelData.usage
                                font.pixelSize: 15
                            }
                            Label {
                                Layout.alignment: Qt.AlignRight
                                text: modelData.cost
                                visible: text !== ""
                                font.pixelSize: 13
                                color: Theme.detail
                            }
                        }
                        ColouredButton {
                            objectName: "delete-" + modelData.index
                            visible: readings.editing && readingRow.revealed
                            text: qsTr("Delete")
                            colour: "#ff3b30"
                            onClicked: App.readingsDelete(modelData.index)
                        }
                    }
                    Rectangle { anchors.bottom: parent.bottom; anchors.left: parent.left; anchors.leftMargin: 16; anchors.right: parent.right; height: 1; color: Theme.separator }
                }
            }
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
                onClicked: App.readingsUsageAction()
            }
            Item { Layout.fillWidth: true }
            SegmentedControl {
                items: readings.periods.items
                selected: readings.periods.selected
                onChosen: (i) => { if (!readings.editing) App.readingsPeriodAction(i) }
            }
            Item { Layout.fillWidth: true }
            ToolButton {
                objectName: "exportButton"
                icon.source: "qrc:/Numbrel/icons/mail.svg"
                icon.color: Theme.tint
                enabled: !readings.editing
                onClicked: App.pageCount < 2 ? App.readingsExport(false) : exportMenu.open()
                Menu {
                    id: exportMenu
                    title: qsTr("CSV Export")
                    MenuItem { text: qsTr("This Single Meter"); onTriggered: App.readingsExport(false) }
                    MenuItem { text: qsTr("All Meters"); onTriggered: App.readingsExport(true) }
                }
            }
        }
    }
}
