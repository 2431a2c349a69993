import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Numbrel

// A meter's tariff editor: every row opens an editor for its value; the switches make a register's
// rates stepped or monthly.
Page {
    id: tariffPage
    background: Rectangle { color: Theme.background }
    property string pageTitle: App.tariffTitle
    property string leftText: "‹ " + qsTr("Meters")
    property string rightText: qsTr("Done")
    function leftAction() { App.tariffDone(); stack.pop() }
    function rightAction() { App.tariffDone(); stack.pop() }

    Flickable {
        anchors.fill: parent
        contentHeight: column.implicitHeight + 24
        ColumnLayout {
            id: column
            width: parent.width
            spacing: 16
            Item { height: 4 }
            Repeater {
                model: App.tariffSections
                delegate: TableSection {
                    required property var modelData
                    required property int index
                    Layout.fillWidth: true
                    model: modelData
                    onRowSelected: (row) => App.tariffSelect(index, row)
                    onSwitchFlipped: (tag, on) => App.tariffFlip(tag, on)
                }
            }
        }
    }

}
