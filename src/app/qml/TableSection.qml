import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Numbrel

// One section of a grouped table: header, rows, footer, as the screen models describe them.
ColumnLayout {
    id: section
    property var model: ({ header: "", footer: "", rows: [] })
    signal rowSelected(int row)
    signal switchFlipped(int tag, bool on)
    signal segmentChosen(int tag, int index)
    signal rowDeleted(int row)
    spacing: 0
    // A section without rows, header or footer takes no room.
    visible: model.rows.length > 0 || model.header !== "" || model.footer !== ""

    Label {
        visible: section.model.header !== ""
        text: section.model.header.toUpperCase()
        color: Theme.footer
        font.pixelSize: 13
        Layout.leftMargin: 16
        Layout.topMargin: 8
        Layout.bottomMargin: 6
    }
    Rectangle { Layout.fillWidth: true; height: 1; color: Theme.separator }
    Repeater {
        model: section.model.rows
        delegate: Rectangle {
            id: rowItem
            required property var modelData
            required property int index
            Layout.fillWidth: true
            Layout.preferredHeight: Theme.rowHeight
            color: mouse.pressed && modelData.selectable ? "#d9d9d9" : Theme.row
            // A swipe to the left shows the Delete button of a row that allows it; a tap hides it. In
            // editing mode a row's "−" shows it. Only the Delete button deletes.
            property bool swiped: false
            MouseArea {
                id: mouse
                anchors.fill: parent
                enabled: modelData.selectable && modelData.enabled
                property real pressX: 0
                onPressed: (e) => pressX = e.x
                onReleased: (e) => {
                    if (modelData.swipeDeletes && pressX - e.x > 40) rowItem.swiped = true
                }
                onClicked: (e) => {
                    if (Math.abs(pressX - e.x) > 40) return
                    if (rowItem.swiped) rowItem.swiped = false
                    else section.rowSelected(index)
                }
            }
            RowLayout {
                anchors.fill: parent
                anchors.leftMargin: 16
                anchors.rightMargin: 12
                spacing: 8
                ColouredButton {
                    visible: !!modelData.deletable
                    text: "−"
                    colour: "#ff3b30"
                    Layout.preferredWidth: 32
                    rotation: rowItem.swiped ? 90 : 0
                    onClicked: rowItem.swiped = !rowItem.swiped
                }
                Label {
                    visible: modelData.accessory !== "segments"
                    text: modelData.label
                    font.pixelSize: 16
                    color: modelData.enabled ? (modelData.color ? Qt.rgba(modelData.color[0], modelData.color[1], modelData.color[2], 1) : Theme.label) : Theme.detail
                }
                SegmentedControl {
                    visible: modelData.accessory === "segments"
                    items: modelData.segments
                    selected: modelData.selectedSegment
                    onChosen: (i) => section.segmentChosen(modelData.tag, i)
                }
                Label {
                    text: modelData.detail
                    color: Theme.detail
                    font.pixelSize: 15
                    horizontalAlignment: Text.AlignRight
                    elide: Text.ElideLeft
                    Layout.fillWidth: true
                }
                Switch {
                    visible: modelData.accessory === "switch"
                    checked: modelData.on
                    onToggled: section.switchFlipped(modelData.tag, checked)
                }
                Label {
                    visible: modelData.accessory === "disclosure"
                    text: "›"
                    color: Theme.separator
                    font.pixelSize: 26
                }
                Label {
                    visible: modelData.accessory === "check"
                    text: "✓"
                    color: Theme.tint
                    font.pixelSize: 18
                }
                ColouredButton {
                    visible: rowItem.swiped
                    text: qsTr("Delete")
                    colour: "#ff3b30"
                    onClicked: section.rowDeleted(index)
                }
            }
            Rectangle {
                visible: index < section.model.rows.length - 1
                anchors.bottom: parent.bottom
                anchors.left: parent.left
                anchors.leftMargin: 16
                anchors.right: parent.right
                height: 1
                color: Theme.separator
            }
        }
    }
    Rectangle { Layout.fillWidth: true; height: 1; color: Theme.separator }
    Label {
        visible: section.model.footer !== ""
        text: section.model.footer
        color: Theme.footer
        font.pixelSize: 13
        wrapMode: Text.WordWrap
        Layout.fillWidth: true
        Layout.leftMargin: 16
        Layout.rightMargin: 16
        Layout.topMargin: 6
    }
}
