import QtQuick
import QtQuick.Controls

// A button in a solid colour with white text: red for deleting, green for adding, as the platform
// draws them beside table rows.
Button {
    id: control
    property color colour: "#ff3b30"
    font.pixelSize: 15
    contentItem: Label {
        text: control.text
        font: control.font
        color: "white"
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
    }
    background: Rectangle {
        implicitWidth: 32
        implicitHeight: 28
        radius: 6
        color: control.down ? Qt.darker(control.colour, 1.2) : control.colour
    }
}
