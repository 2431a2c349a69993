import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Numbrel

// Reading entry: the date, the reading on wheels or a keypad, and the Bill and New Meter switches.
Page {
    id: entry
    required property var model  // an EntryModel
    Component.onDestruction: Navigation.release(model)
    background: Rectangle { color: Theme.background }
    property string pageTitle: model.title
    property string leftText: qsTr("Cancel")
    property string rightText: qsTr("Save")
    function leftAction() { Navigation.back() }
    function rightAction() { model.save() }

    // The keyboard: digits set the wheels from the left (or come in as on the keypad), Backspace
    // takes the last one back. Enter and Escape are the window's Save and Cancel.
    focus: true
    Keys.onPressed: (event) => {
        if (event.key >= Qt.Key_0 && event.key <= Qt.Key_9 && model.dateMode === 0) {
            model.typeKey(event.key - Qt.Key_0)
            event.accepted = true
        } else if (event.key === Qt.Key_Backspace && model.dateMode === 0) {
            model.backspaceKey()
            event.accepted = true
        }
    }
    // Turns a reading wheel to a row and tells the model.
    function turn(component, row) {
        const t = wheelRepeater.itemAt(component)
        if (!t || !t.isWheel) return
        t.currentIndex = Math.max(0, Math.min(t.count - 1, row))
        model.wheelChanged(component, t.currentIndex)
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.topMargin: 16
        spacing: 16

        ColumnLayout {
            spacing: 0
            Layout.fillWidth: true
            Layout.topMargin: -16
            Repeater {
                model: entry.model
                delegate: TableRow {
                    Layout.fillWidth: true
                    table: entry.model
                }
            }
        }

        // The dial as wheels, one per digit.
        Rectangle {
            visible: !entry.model.keyboard && entry.model.dateMode === 0
            Layout.fillWidth: true
            Layout.preferredHeight: 216
            color: "white"
            Row {
                id: wheelRow
                anchors.centerIn: parent
                spacing: 2
                Repeater {
                    id: wheelRepeater
                    model: entry.model.wheels
                    delegate: Tumbler {
                        id: dial
                        required property int index
                        required property bool separator
                        required property int rows
                        required property int selected
                        required property bool decimal
                        required property bool cursor
                        objectName: "wheel-" + index
                        property bool isWheel: !separator
                        width: isWheel ? 36 : 14
                        height: 200
                        visibleItemCount: 5
                        wrap: false
                        model: rows
                        currentIndex: selected
                        // The model turns a wheel too (typed digits): a wheel at rest follows it.
                        onSelectedChanged: if (!moving && currentIndex !== selected) currentIndex = selected
                        onMovingChanged: if (!moving && isWheel) entry.model.wheelChanged(index, currentIndex)
                        delegate: Label {
                            required property int index
                            text: dial.isWheel ? index % 10 : entry.model.decimalSeparator
                            font.pixelSize: 22
                            horizontalAlignment: Text.AlignHCenter
                            verticalAlignment: Text.AlignVCenter
                            color: dial.decimal ? "#d0021b" : "black"
                            opacity: 1.0 - Math.abs(Tumbler.displacement) / 3
                            // A click on a digit turns its wheel there and puts the typing cursor on it.
                            MouseArea {
                                anchors.fill: parent
                                enabled: dial.isWheel
                                onClicked: { entry.model.selectWheel(dial.index); entry.turn(dial.index, parent.index); entry.forceActiveFocus() }
                            }
                        }
                        // One notch of a mouse wheel is one digit (touchpads add up to a notch).
                        MouseArea {
                            anchors.fill: parent
                            acceptedButtons: Qt.NoButton
                            z: 1  // above the wheel's own list, which would scroll freely
                            enabled: dial.isWheel
                            property real pending: 0
                            onWheel: (event) => {
                                pending += event.angleDelta.y
                                const notches = pending > 0 ? Math.floor(pending / 120) : Math.ceil(pending / 120)
                                if (notches !== 0) {
                                    pending -= notches * 120
                                    entry.turn(dial.index, dial.currentIndex - notches)
                                }
                                event.accepted = true
                            }
                        }
                        // The typing cursor: a line under the wheel that typed digits set.
                        Rectangle {
                            visible: dial.cursor
                            anchors.horizontalCenter: parent.horizontalCenter
                            anchors.verticalCenter: parent.verticalCenter
                            anchors.verticalCenterOffset: 17
                            width: parent.width - 8
                            height: 2
                            color: Theme.tint
                        }
                    }
                }
            }
            Rectangle {
                anchors.verticalCenter: parent.verticalCenter
                width: parent.width
                height: 40
                color: "transparent"
                border.color: Theme.separator
            }
        }

        // The keypad.
        GridLayout {
            visible: entry.model.keyboard && entry.model.dateMode === 0
            columns: 3
            Layout.alignment: Qt.AlignHCenter
            rowSpacing: 8
            columnSpacing: 8
            Repeater {
                model: ["1", "2", "3", "4", "5", "6", "7", "8", "9", "", "0", "delete"]
                delegate: Button {
                    required property string modelData
                    objectName: "key-" + modelData
                    opacity: modelData === "" ? 0 : 1
                    enabled: modelData !== ""
                    text: modelData === "delete" ? "" : modelData
                    icon.source: modelData === "delete" ? "qrc:/Numbrel/icons/backspace.svg" : ""
                    font.pixelSize: 24
                    focusPolicy: Qt.NoFocus  // the keyboard stays with the page
                    Layout.preferredWidth: 96
                    Layout.preferredHeight: 52
                    onClicked: modelData === "delete" ? entry.model.deleteDigit() : entry.model.typeDigit(parseInt(modelData))
                }
            }
        }

        // The date picker.
        DateWheels {
            visible: entry.model.dateMode !== 0
            Layout.fillWidth: true
            Layout.preferredHeight: 216
            withTime: entry.model.dateMode === 1
            date: entry.model.date
            onPicked: (d) => entry.model.setDate(d)
        }
        Item { Layout.fillHeight: true }
    }
}
