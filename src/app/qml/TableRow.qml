import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Numbrel

// One row of a table screen as its model describes it, with its section's header above the first row
// and the footer below the last. "−" (editing mode) or a swipe to the left shows the row's Delete
// button, and only that deletes.
ColumnLayout {
    id: tableRow
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
        visible: tableRow.header !== ""
        text: tableRow.header.toUpperCase()
        color: Theme.footer
        font.pixelSize: 13
        Layout.leftMargin: 16
        Layout.topMargin: 24
        Layout.bottomMargin: 6
    }
    Item { visible: tableRow.first && tableRow.header === ""; Layout.preferredHeight: tableRow.sectionGap }
    Rectangle { visible: tableRow.first && !tableRow.placeholder; Layout.fillWidth: true; height: 1; color: Theme.separator }
    Rectangle {
        id: rowItem
        visible: !tableRow.placeholder
        Layout.fillWidth: true
        Layout.preferredHeight: Theme.rowHeight
        color: mouse.pressed && tableRow.selectable ? "#d9d9d9" : Theme.row
        MouseArea {
            id: mouse
            anchors.fill: parent
            enabled: tableRow.selectable
            property real pressX: 0
            onPressed: (e) => pressX = e.x
            onReleased: (e) => { if (tableRow.swipeDeletes && pressX - e.x > 40) tableRow.swiped = true }
            onClicked: (e) => {
                if (Math.abs(pressX - e.x) > 40) return
                if (tableRow.swiped) tableRow.swiped = false
                else tableRow.table.select(tableRow.index)
            }
        }
        RowLayout {
            anchors.fill: parent
            anchors.leftMargin: 16
            anchors.rightMargin: 12
            spacing: 8
            // Controls that few rows have are made only on the rows that have them.
            Loader {
                active: tableRow.deletable
                visible: active
                Layout.preferredWidth: 32
                sourceComponent: ColouredButton {
                    objectName: "minus-" + tableRow.index
                    text: "−"
                    colour: "#ff3b30"
                    rotation: tableRow.swiped ? 90 : 0
                    onClicked: tableRow.swiped = !tableRow.swiped
                }
            }
            Loader {
                active: tableRow.adds
                visible: active
                Layout.preferredWidth: 32
                sourceComponent: ColouredButton {
                    text: "+"
                    colour: "#34c759"
                    onClicked: tableRow.table.select(tableRow.index)
                }
            }
            Label {
                visible: tableRow.accessory !== "segments"
                text: tableRow.label
                font.pixelSize: 16
                color: !tableRow.rowEnabled ? Theme.detail : tableRow.colour.valid ? tableRow.colour : Theme.label
            }
            Loader {
                active: tableRow.accessory === "segments"
                visible: active
                sourceComponent: SegmentedControl {
                    items: tableRow.segments
                    selected: tableRow.selectedSegment
                    onChosen: (i) => tableRow.table.chooseSegment(tableRow.tag, i)
                }
            }
            Label {
                text: tableRow.detail
                color: Theme.detail
                font.pixelSize: 15
                horizontalAlignment: Text.AlignRight
                elide: Text.ElideLeft
                Layout.fillWidth: true
            }
            Loader {
                active: tableRow.canMoveUp
                visible: active
                sourceComponent: ToolButton { text: "▲"; onClicked: tableRow.table.move(tableRow.index, -1) }
            }
            Loader {
                active: tableRow.canMoveDown
                visible: active
                sourceComponent: ToolButton { text: "▼"; onClicked: tableRow.table.move(tableRow.index, 1) }
            }
            Loader {
                active: tableRow.accessory === "switch"
                visible: active
                sourceComponent: Switch {
                    enabled: tableRow.rowEnabled
                    checked: tableRow.on
                    // The screen decides: a switch whose change waits for an answer (or is refused)
                    // shows what the screen says, not where the click left it.
                    onToggled: {
                        tableRow.table.flip(tableRow.tag, checked)
                        checked = Qt.binding(() => tableRow.on)
                    }
                }
            }
            Label { visible: tableRow.accessory === "disclosure"; text: "›"; color: Theme.separator; font.pixelSize: 26 }
            Label { visible: tableRow.checked; text: "✓"; color: Theme.tint; font.pixelSize: 18 }
            Loader {
                active: tableRow.accessory === "info"
                visible: active
                sourceComponent: ToolButton {
                    objectName: "info-" + tableRow.index
                    icon.source: "qrc:/Numbrel/icons/info.svg"
                    icon.color: Theme.tint
                    onClicked: tableRow.table.info(tableRow.index)
                }
            }
            Loader {
                active: tableRow.swiped
                visible: active
                sourceComponent: ColouredButton {
                    objectName: "delete-" + tableRow.index
                    text: qsTr("Delete")
                    colour: "#ff3b30"
                    onClicked: { tableRow.swiped = false; tableRow.table.remove(tableRow.index) }
                }
            }
        }
        Rectangle {
            visible: !tableRow.last
            anchors.bottom: parent.bottom
            anchors.left: parent.left
            anchors.leftMargin: 16
            anchors.right: parent.right
            height: 1
            color: Theme.separator
        }
    }
    Rectangle { visible: tableRow.last && !tableRow.placeholder; Layout.fillWidth: true; height: 1; color: Theme.separator }
    Label {
        visible: tableRow.footer !== ""
        text: tableRow.footer
        color: Theme.footer
        font.pixelSize: 13
        wrapMode: Text.WordWrap
        Layout.fillWidth: true
        Layout.leftMargin: 16
        Layout.rightMargin: 16
        Layout.topMargin: 6
    }
}
