import QtQuick
import QtQuick.Controls

// A date picker on wheels: day, month, year (2000 to 2100), and the time when withTime is set.
// `date` sets the wheels; `picked(date)` tells the date they show once a wheel comes to rest.
Rectangle {
    id: wheels
    property date date: new Date()
    property bool withTime: false
    signal picked(date date)
    implicitHeight: 216
    color: "white"

    function current() {
        return new Date(2000 + year.currentIndex, month.currentIndex, day.currentIndex + 1,
                        withTime ? hour.currentIndex : date.getHours(), withTime ? minute.currentIndex : date.getMinutes(),
                        withTime ? 0 : date.getSeconds())
    }
    function settled() { if (!day.moving && !month.moving && !year.moving && !hour.moving && !minute.moving) picked(current()) }

    // One wheel of the picker. A notch of the mouse wheel moves it by one row; a click on a row turns
    // it there.
    component Wheel: Tumbler {
        id: dial
        property var labels: null  // the texts of the rows, else the row number plus first
        property int first: 0
        property bool twoDigits: false
        font.pixelSize: 20
        wrap: false
        delegate: Component {
            Label {
                required property int index
                text: dial.labels ? dial.labels[index] : dial.twoDigits ? ("0" + index).slice(-2) : index + dial.first
                font.pixelSize: 20
                horizontalAlignment: Text.AlignHCenter
                verticalAlignment: Text.AlignVCenter
                opacity: 1.0 - Math.abs(Tumbler.displacement) / 3
                MouseArea {
                    anchors.fill: parent
                    onClicked: { dial.currentIndex = parent.index; wheels.settled() }
                }
            }
        }
        onMovingChanged: if (!moving) wheels.settled()
        MouseArea {
            anchors.fill: parent
            acceptedButtons: Qt.NoButton
            z: 1  // above the wheel's own list, which would scroll freely
            property real pending: 0
            onWheel: (event) => {
                pending += event.angleDelta.y
                const notches = pending > 0 ? Math.floor(pending / 120) : Math.ceil(pending / 120)
                if (notches !== 0) {
                    pending -= notches * 120
                    dial.currentIndex = Math.max(0, Math.min(dial.count - 1, dial.currentIndex - notches))
                    wheels.settled()
                }
                event.accepted = true
            }
        }
    }

    Row {
        anchors.centerIn: parent
        spacing: 6
        Wheel { id: day; model: 31; first: 1; width: 44; currentIndex: wheels.date.getDate() - 1 }
        Wheel {
            id: month
            labels: [qsTr("Jan"), qsTr("Feb"), qsTr("Mar"), qsTr("Apr"), qsTr("May"), qsTr("Jun"), qsTr("Jul"), qsTr("Aug"), qsTr("Sep"), qsTr("Oct"), qsTr("Nov"), qsTr("Dec")]
            model: 12
            width: 56
            currentIndex: wheels.date.getMonth()
        }
        Wheel { id: year; model: 101; first: 2000; width: 64; currentIndex: wheels.date.getFullYear() - 2000 }
        Wheel { id: hour; visible: wheels.withTime; model: 24; twoDigits: true; width: 44; currentIndex: wheels.date.getHours() }
        Wheel { id: minute; visible: wheels.withTime; model: 60; twoDigits: true; width: 44; currentIndex: wheels.date.getMinutes() }
    }
}
