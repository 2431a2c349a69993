import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Numbrel

// The meters: tap one to jump to it; Edit to delete, re-order or add meters.
Page {
    id: metersPage
    background: Rectangle { color: Theme.background }
    property string pageTitle: qsTr("Meters")
    property string leftText: "‹ " + qsTr("Back")
    property string rightText: App.metersEditing ? qsTr("Done") : qsTr("Edit")
    function leftAction() { stack.pop() }
    function rightAction() { App.metersEdit(!App.metersEditing) }
    property var section: App.metersSections.length > 0 ? App.metersSections[0] : ({ rows: [], footer: "" })

    Connections {
        target: App
        function onMetersClosed() { stack.pop() }
    }

    Flickable {
        anchors.fill: parent
        contentHeight: column.implicitHeight + 24
        ColumnLayout {
            id: column
            width: parent.width
            spacing: 0
            Item { height: 16 }
            Rectangle { Layout.fillWidth: true; height: 1; color: Theme.separator }
            Repeater {
                model: metersPage.section.rows
                delegate: Rectangle {
                    required property var modelData
                    required property int index
                    property bool addRow: App.metersEditing && index === metersPage.section.rows.length - 1
                    Layout.fillWidth: true
                    Layout.preferredHeight: Theme.rowHeight
                    color: mouse.pressed ? "#d9d9d9" : Theme.row
                    MouseArea {
                        id: mouse
                        anchors.fill: parent
                        onClicked: parent.addRow ? App.metersAdd() : App.metersSelect(index)
                    }
                    RowLayout {
                        anchors.fill: parent
                        anchors.leftMargin: 12
                        anchors.rightMargin: 12
                        spacing: 8
                        ColouredButton {
                            visible: App.metersEditing
                            text: parent.parent.addRow ? "+" : "−"
                            colour: parent.parent.addRow ? "#34c759" : "#ff3b30"
                            Layout.preferredWidth: 32
                            onClicked: parent.parent.addRow ? App.metersAdd() : App.metersDelete(index)
                        }
                        Label {
                            text: modelData.label
                            font.pixelSize: 16
                            color: parent.parent.addRow ? Theme.tint : Theme.label
                            Layout.fillWidth: true
                        }
                        ToolButton {
                            visible: App.metersEditing && !parent.parent.addRow && index > 0
                            text: "▲"
                            onClicked: App.metersMove(index, index - 1)
                        }
                        ToolButton {
                            visible: App.metersEditing && !parent.parent.addRow && index < metersPage.section.rows.length - 2
                            text: "▼"
                            onClicked: App.metersMove(index, index + 1)
                        }
                        ToolButton {
                            objectName: "rates-" + index
                            visible: !parent.parent.addRow
                            icon.source: "qrc:/Numbrel/icons/info.svg"
                            icon.color: Theme.tint
                            onClicked: { App.openTariff(index); stack.push(tariffPage) }
                        }
                        Label {
                            visible: !App.metersEditing && modelData.accessory === "check"
                            text: "✓"
                            color: Theme.tint
                            font.pixelSize: 18
                        }
                    }
                    Rectangle { anchors.bottom: parent.bottom; anchors.left: parent.left; anchors.leftMargin: 16; anchors.right: parent.right; height: 1; color: Theme.separator }
                }
            }
            Label {
                text: metersPage.section.footer
                color: Theme.footer
                font.pixelSize: 13
                wrapMode: Text.WordWrap
                Layout.fillWidth: true
                Layout.leftMargin: 16
                Layout.rightMargin: 16
                Layout.topMargin: 6
            }
        }
    }
}
