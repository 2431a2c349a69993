import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Numbrel

// One row of a table screen as its model describes it, with its section's header above the first row
// and the footer below the last. "−" (editing mode) or a swipe to the left shows the row's Delete
// button, and only that deletes.
ColumnLayout {
    id: item
    required property var table      // the TableModel
    required property int index
    required property string label
    required property string detail
    required property string accessory
    required property int tag
    required property bool on
    required property var segments
    required property int selectedSegment
    required property bool rowEnabled
    required property bool selectable
    required property color colour
    required property bool deletable
    required property bool swipeDeletes
    required property bool checked
    required property bool canMoveUp
    required property bool canMoveDown
    required property bool adds
    required property string header
    required property string footer
    required property bool first
    required property bool last
    required property bool placeholder
    property bool swiped: false
    property int sectionGap: 16  // above a section without a header
    spacing: 0

    Label {
        visible: item.header !== ""
        text: item.header.toUpperCase()
        color: Theme.footer
        font.pixelSize: 13
        Layout.leftMargin: 16
        Layout.topMargin: 24
        Layout.bottomMargin: 6
    }
    Item { visible: item.first && item.header === ""; Layout.preferredHeight: item.sectionGap }
    Rectangle { visible: item.first && !item.placeholder; Layout.fillWidth: true; height: 1; color: Theme.separator }
    Rectangle {
        id: rowItem
        visible: !item.placeholder
        Layout.fillWidth: true
        Layout.preferredHeight: Theme.rowHeight
        color: mouse.pressed && item.selectable ? "#d9d9d9" : Theme.row
        MouseArea {
            id: mouse
            anchors.fill: parent
            enabled: item.selectable
            property real pressX: 0
            onPressed: (e) => pressX = e.x
            onReleased: (e) => { if (item.swipeDeletes && pressX - e.x > 40) item.swiped = true }
            onClicked: (e) => {
                if (Math.abs(pressX - e.x) > 40) return
                if (item.swiped) item.swiped = false
                else item.table.select(item.index)
            }
        }
        RowLayout {
            anchors.fill: parent
            anchors.leftMargin: 16
            anchors.rightMargin: 12
            spacing: 8
            ColouredButton {
                objectName: "minus-" + item.index
                visible: item.deletable
                text: "−"
                colour: "#ff3b30"
                Layout.preferredWidth: 32
                rotation: item.swiped ? 90 : 0
                onClicked: item.swiped = !item.swiped
            }
            ColouredButton {
                visible: item.adds
                text: "+"
                colour: "#34c759"
                Layout.preferredWidth: 32
                onClicked: item.table.select(item.index)
            }
            Label {
                visible: item.accessory !== "segments"
                text: item.label
                font.pixelSize: 16
                color: !item.rowEnabled ? Theme.detail : item.colour.valid ? item.colour : Theme.label
            }
            SegmentedControl {
                visible: item.accessory === "segments"
                items: item.segments
                selected: item.selectedSegment
                onChosen: (i) => item.table.chooseSegment(item.tag, i)
            }
            Label {
                text: item.detail
                color: Theme.detail
                font.pixelSize: 15
                horizontalAlignment: Text.AlignRight
                elide: Text.ElideLeft
                Layout.fillWidth: true
            }
            ToolButton { visible: item.canMoveUp; text: "▲"; onClicked: item.table.move(item.index, -1) }
            ToolButton { visible: item.canMoveDown; text: "▼"; onClicked: item.table.move(item.index, 1) }
            Switch {
                visible: item.accessory === "switch"
                enabled: item.rowEnabled
                checked: item.on
                onToggled: item.table.flip(item.tag, checked)
            }
            Label { visible: item.accessory === "disclosure"; text: "›"; color: Theme.separator; font.pixelSize: 26 }
            Label { visible: item.checked; text: "✓"; color: Theme.tint; font.pixelSize: 18 }
            ToolButton {
                objectName: "info-" + item.index
                visible: item.accessory === "info"
                icon.source: "qrc:/Numbrel/icons/info.svg"
                icon.color: Theme.tint
                onClicked: item.table.info(item.index)
            }
            ColouredButton {
                objectName: "delete-" + item.index
                visible: item.swiped
                text: qsTr("Delete")
                colour: "#ff3b30"
                onClicked: { item.swiped = false; item.table.remove(item.index) }
            }
        }
        Rectangle {
            visible: !item.last
            anchors.bottom: parent.bottom
            anchors.left: parent.left
            anchors.leftMargin: 16
            anchors.right: parent.right
            height: 1
            color: Theme.separator
        }
    }
    Rectangle { visible: item.last && !item.placeholder; Layout.fillWidth: true; height: 1; color: Theme.separator }
    Label {
        visible: item.footer !== ""
        text: item.footer
        color: Theme.footer
        font.pixelSize: 13
        wrapMode: Text.WordWrap
        Layout.fillWidth: true
        Layout.leftMargin: 16
        Layout.rightMargin: 16
        Layout.topMargin: 6
    }
}
