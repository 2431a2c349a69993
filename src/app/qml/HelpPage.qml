import QtQuick
import QtQuick.Controls
import Numbrel

// The user guide: the shipped page as rich text. "Top" goes back to its start, "Done" closes it; a
// place in the guide scrolls there, other links go out through the model.
Page {
    id: page
    required property var model  // a HelpModel
    Component.onDestruction: Navigation.release(model)
    background: Rectangle { color: "white" }
    property string pageTitle: model.title
    property string leftText: qsTr("Top")
    property string rightText: qsTr("Done")
    function leftAction() {
        model.top()
        flick.contentY = 0
    }
    function rightAction() { Navigation.back() }

    function follow(link) {
        if (!page.model.followLink(link)) return
        const hash = link.indexOf("#")
        const at = hash < 0 ? -1 : page.model.anchorPosition(guide.textDocument, link.substring(hash + 1))
        flick.contentY = at < 0 ? 0
            : Math.min(Math.max(0, guide.positionToRectangle(at).y - 8), Math.max(0, flick.contentHeight - flick.height))
    }

    Flickable {
        id: flick
        anchors.fill: parent
        contentWidth: width
        contentHeight: guide.height + 32
        boundsBehavior: Flickable.StopAtBounds
        clip: true
        ScrollBar.vertical: ScrollBar {}
        Keys.onPressed: (event) => {
            const step = event.key === Qt.Key_PageDown || event.key === Qt.Key_Space ? flick.height - 40
                       : event.key === Qt.Key_PageUp ? -(flick.height - 40)
                       : event.key === Qt.Key_Down ? 40 : event.key === Qt.Key_Up ? -40
                       : event.key === Qt.Key_Home ? -flick.contentHeight : event.key === Qt.Key_End ? flick.contentHeight : 0
            if (step === 0) return
            flick.contentY = Math.min(Math.max(0, flick.contentY + step), Math.max(0, flick.contentHeight - flick.height))
            event.accepted = true
        }
        focus: true

        TextEdit {
            id: guide
            objectName: "guide"
            x: 16
            y: 16
            width: flick.width - 32
            readOnly: true
            selectByMouse: false
            textFormat: TextEdit.RichText
            wrapMode: TextEdit.Wrap
            font.pixelSize: 15
            color: "#222222"
            text: page.model.text
            onLinkActivated: (link) => page.follow(link)
            HoverHandler { cursorShape: guide.hoveredLink !== "" ? Qt.PointingHandCursor : Qt.ArrowCursor }
        }
    }
}
