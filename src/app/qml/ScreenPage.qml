import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Numbrel

// Any table screen a model pushes (the choosers): its sections as the model describes them.
Page {
    background: Rectangle { color: Theme.background }
    property string pageTitle: App.screenTitle
    property string leftText: "‹ " + qsTr("Back")
    property string rightText: App.screenCanDelete ? qsTr("Delete")
                               : App.screenCanEdit ? (App.screenEditing ? qsTr("Done") : qsTr("Edit")) : ""
    function leftAction() { App.screenPop(); stack.pop() }
    function rightAction() {
        if (App.screenCanDelete) App.screenDelete()
        else App.screenSetEditing(!App.screenEditing)
    }

    // The backups screen takes files dropped on the page; "Add File…" opens the window's file dialog.
    DropArea {
        anchors.fill: parent
        enabled: App.screenTakesFiles
        onEntered: (drag) => drag.accept(Qt.CopyAction)
        onDropped: (drop) => {
            for (const url of drop.urls) App.addFile(url)
            drop.accept(Qt.CopyAction)
        }
    }

    Flickable {
        anchors.fill: parent
        contentHeight: column.implicitHeight + 24
        ColumnLayout {
            id: column
            width: parent.width
            spacing: 16
            Item { height: 4 }
            Repeater {
                model: App.screenSections
                delegate: TableSection {
                    required property var modelData
                    required property int index
                    Layout.fillWidth: true
                    model: modelData
                    onRowSelected: (row) => App.screenSelect(index, row)
                    onSwitchFlipped: (tag, on) => App.screenFlip(tag, on)
                    onRowDeleted: (row) => App.screenDeleteRow(index, row)
                }
            }
        }
    }
}
