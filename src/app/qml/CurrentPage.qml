import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Numbrel

// The current period summary, a read-only table.
Page {
    background: Rectangle { color: Theme.background }
    property string pageTitle: qsTr("Current")
    property string leftText: ""
    property string rightText: qsTr("Done")
    function leftAction() {}
    function rightAction() { stack.pop() }

    Flickable {
        anchors.fill: parent
        contentHeight: column.implicitHeight + 24
        ColumnLayout {
            id: column
            width: parent.width
            spacing: 16
            Item { height: 4 }
            Repeater {
                model: App.currentSections
                delegate: TableSection {
                    required property var modelData
                    Layout.fillWidth: true
                    model: modelData
                }
            }
        }
    }
}
