import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Numbrel

// Any table screen: its rows as the model describes them. The bar's right button is the screen's
// Delete, or Edit/Done where it has an editing mode.
Page {
    id: page
    required property var model  // a TableModel
    Component.onDestruction: Navigation.release(model)
    background: Rectangle { color: Theme.background }
    property string pageTitle: model.title
    property var titleSegments: model.titleSegments
    property int titleSegment: model.titleSegment
    function chooseTitleSegment(index) { model.chooseSegment(-1, index) }
    property string leftText: model.backLabel !== "" ? "‹ " + model.backLabel : ""
    property string rightText: model.canDelete ? qsTr("Delete")
                               : model.canEdit ? (model.editing ? qsTr("Done") : qsTr("Edit"))
                               : model.hasDone ? qsTr("Done") : ""
    function leftAction() { Navigation.back() }
    function rightAction() {
        if (model.canDelete) model.deleteAction()
        else if (model.canEdit) model.setEditing(!model.editing)
        else Navigation.back()
    }

    // The backups screen takes files dropped on the page.
    DropArea {
        anchors.fill: parent
        enabled: page.model.takesFiles
        onEntered: (drag) => drag.accept(Qt.CopyAction)
        onDropped: (drop) => {
            page.model.addFiles(drop.urls)
            drop.accept(Qt.CopyAction)
        }
    }

    ListView {
        id: list
        anchors.fill: parent
        topMargin: 4
        bottomMargin: 24
        model: page.model
        boundsBehavior: Flickable.StopAtBounds
        ScrollBar.vertical: ScrollBar {}
        delegate: TableRow {
            width: list.width
            table: page.model
        }
    }
}
