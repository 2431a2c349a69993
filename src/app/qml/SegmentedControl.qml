import QtQuick
import QtQuick.Controls
import Numbrel

// A row of segments, one of them chosen.
Row {
    id: control
    property var items: []
    property int selected: 0
    property int segmentWidth: 0  // every segment this wide; 0: as wide as its label
    signal chosen(int index)
    spacing: 0
    Repeater {
        model: control.items
        delegate: Rectangle {
            required property string modelData
            required property int index
            width: control.segmentWidth > 0 ? control.segmentWidth : Math.max(34, label.implicitWidth + 14)
            height: 29
            radius: 0
            color: index === control.selected ? Theme.tint : "white"
            border.color: Theme.tint
            border.width: 1
            Label {
                id: label
                anchors.centerIn: parent
                text: modelData.trim()
                color: index === control.selected ? "white" : Theme.tint
                font.pixelSize: 13
            }
            MouseArea { anchors.fill: parent; onClicked: control.chosen(index) }
        }
    }
}
