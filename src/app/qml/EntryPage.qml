import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Numbrel

// Reading entry: the date, the reading on wheels or a keypad, and the Bill and New Meter switches.
Page {
    id: entry
    background: Rectangle { color: Theme.background }
    property string pageTitle: App.entryTitle
    property string leftText: qsTr("Cancel")
    property string rightText: qsTr("Save")
    function leftAction() { App.entryCancel() }
    function rightAction() { App.entrySave() }
    property var wheels: App.entryWheels
    property int wheelCount: wheels.length

    Connections {
        target: App
        function onEntryChanged() {
            const w = App.entryWheels
            for (let i = 0; i < wheelRow.children.length && i < w.length; ++i) {
                const t = wheelRow.children[i]
                if (t.isWheel && !t.moving && t.currentIndex !== w[i].selected) t.currentIndex = w[i].selected
            }
        }
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.topMargin: 16
        spacing: 16

        TableSection {
            Layout.fillWidth: true
            model: (App.entryRows.length > 0 ? App.entryRows[0] : { header: "", footer: "", rows: [] })
            onRowSelected: (row) => App.entrySelectRow(row)
            onSwitchFlipped: (tag, on) => App.entryFlipSwitch(tag, on)
            onSegmentChosen: (tag, i) => App.entryChooseSegment(tag, i)
        }

        // The dial as wheels, one per digit.
        Rectangle {
            visible: !App.entryKeyboard && App.entryDateMode === 0
            Layout.fillWidth: true
            Layout.preferredHeight: 216
            color: "white"
            Row {
                id: wheelRow
                anchors.centerIn: parent
                spacing: 2
                Repeater {
                    model: entry.wheelCount
                    delegate: Tumbler {
                        required property int index
                        objectName: "wheel-" + index
                        property bool isWheel: !entry.wheels[index].separator
                        width: isWheel ? 36 : 14
                        height: 200
                        visibleItemCount: 5
                        wrap: false
                        model: entry.wheels[index].rows
                        currentIndex: entry.wheels[index].selected
                        onMovingChanged: if (!moving && isWheel) App.entryWheelChanged(index, currentIndex)
                        delegate: Label {
                            required property int index
                            text: Tumbler.tumbler && !Tumbler.tumbler.isWheel ? App.decimalSeparator : index % 10
                            font.pixelSize: 22
                            horizontalAlignment: Text.AlignHCenter
                            verticalAlignment: Text.AlignVCenter
                            color: Tumbler.tumbler && entry.wheels[Tumbler.tumbler.index] && entry.wheels[Tumbler.tumbler.index].decimal ? "#d0021b" : "black"
                            opacity: 1.0 - Math.abs(Tumbler.displacement) / 3
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
            visible: App.entryKeyboard && App.entryDateMode === 0
            columns: 3
            Layout.alignment: Qt.AlignHCenter
            rowSpacing: 8
            columnSpacing: 8
            Repeater {
                model: ["1", "2", "3", "4", "5", "6", "7", "8", "9", "", "0", "⌫"]
                delegate: Button {
                    required property string modelData
                    opacity: modelData === "" ? 0 : 1
                    enabled: modelData !== ""
                    text: modelData
                    font.pixelSize: 24
                    Layout.preferredWidth: 96
                    Layout.preferredHeight: 52
                    onClicked: modelData === "⌫" ? App.entryDeleteDigit() : App.entryTypeDigit(parseInt(modelData))
                }
            }
        }

        // The date picker.
        DateWheels {
            visible: App.entryDateMode !== 0
            Layout.fillWidth: true
            Layout.preferredHeight: 216
            withTime: App.entryDateMode === 1
            date: App.entryDate
            onPicked: (d) => App.entrySetDate(d)
        }
        Item { Layout.fillHeight: true }
    }
}
