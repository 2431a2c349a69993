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
        Rectangle {
            visible: App.entryDateMode !== 0
            Layout.fillWidth: true
            Layout.preferredHeight: 216
            color: "white"
            Row {
                anchors.centerIn: parent
                spacing: 6
                Tumbler {
                    id: day
                    model: 31
                    width: 44
                    currentIndex: App.entryDate.getDate() - 1
                    delegate: Label { required property int index; text: index + 1; font.pixelSize: 20; horizontalAlignment: Text.AlignHCenter; opacity: 1.0 - Math.abs(Tumbler.displacement) / 3 }
                    onMovingChanged: if (!moving) entry.setDate()
                }
                Tumbler {
                    id: month
                    model: [qsTr("Jan"), qsTr("Feb"), qsTr("Mar"), qsTr("Apr"), qsTr("May"), qsTr("Jun"), qsTr("Jul"), qsTr("Aug"), qsTr("Sep"), qsTr("Oct"), qsTr("Nov"), qsTr("Dec")]
                    width: 56
                    currentIndex: App.entryDate.getMonth()
                    delegate: Label { required property string modelData; required property int index; text: modelData; font.pixelSize: 20; horizontalAlignment: Text.AlignHCenter; opacity: 1.0 - Math.abs(Tumbler.displacement) / 3 }
                    onMovingChanged: if (!moving) entry.setDate()
                }
                Tumbler {
                    id: year
                    model: 101
                    width: 64
                    currentIndex: App.entryDate.getFullYear() - 2000
                    delegate: Label { required property int index; text: 2000 + index; font.pixelSize: 20; horizontalAlignment: Text.AlignHCenter; opacity: 1.0 - Math.abs(Tumbler.displacement) / 3 }
                    onMovingChanged: if (!moving) entry.setDate()
                }
                Tumbler {
                    id: hour
                    visible: App.entryDateMode === 1
                    model: 24
                    width: 44
                    currentIndex: App.entryDate.getHours()
                    delegate: Label { required property int index; text: ("0" + index).slice(-2); font.pixelSize: 20; horizontalAlignment: Text.AlignHCenter; opacity: 1.0 - Math.abs(Tumbler.displacement) / 3 }
                    onMovingChanged: if (!moving) entry.setDate()
                }
                Tumbler {
                    id: minute
                    visible: App.entryDateMode === 1
                    model: 60
                    width: 44
                    currentIndex: App.entryDate.getMinutes()
                    delegate: Label { required property int index; text: ("0" + index).slice(-2); font.pixelSize: 20; horizontalAlignment: Text.AlignHCenter; opacity: 1.0 - Math.abs(Tumbler.displacement) / 3 }
                    onMovingChanged: if (!moving) entry.setDate()
                }
            }
        }
        Item { Layout.fillHeight: true }
    }

    function setDate() {
        App.entrySetDate(new Date(2000 + year.currentIndex, month.currentIndex, day.currentIndex + 1,
                                  hour.currentIndex, minute.currentIndex))
    }
}
