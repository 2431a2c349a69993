import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Numbrel

// The meter pager: one page per meter, a short table and the graphs; the toolbar below.
Page {
    id: page
    required property var model  // the MainModel
    background: Rectangle { color: Theme.background }
    property string pageTitle: model.title
    property string leftText: qsTr("Meters")
    property string rightText: "+"
    function leftAction() { model.metersAction() }
    function rightAction() { model.addAction() }

    SwipeView {
        id: pager
        anchors.fill: parent
        anchors.bottomMargin: indicator.visible ? indicator.height : 0
        currentIndex: page.model.meterIndex
        onCurrentIndexChanged: page.model.pageAction(currentIndex)
        interactive: !holding
        property bool holding: false
        // The neighbours of the page shown are made once the window has been drawn: it shows sooner.
        property bool drawn: false
        Connections {
            target: page.Window.window
            enabled: !pager.drawn
            function onFrameSwapped() { pager.drawn = true }
        }

        Repeater {
            model: page.model
            // Pages further than one from the visible page are empty placeholders, so that many
            // meters cost no more than three.
            delegate: Loader {
                id: pageLoader
                required property int page
                required property var table
                required property int graphCount
                active: Math.abs(page - pager.currentIndex) <= (pager.drawn ? 1 : 0)
                sourceComponent: MeterPage {
                    page: pageLoader.page
                    table: pageLoader.table
                    graphCount: pageLoader.graphCount
                }
            }
        }
    }

    component MeterPage: Item {
        id: meterPage
        property int page: -1
        property var table: null
        property int graphCount: 0
        ColumnLayout {
            anchors.fill: parent
            anchors.topMargin: -4
            spacing: 0
            Repeater {
                model: meterPage.table
                delegate: TableRow {
                    Layout.fillWidth: true
                    table: meterPage.table
                    sectionGap: 12
                }
            }
            Item { Layout.preferredHeight: 12 }
            Repeater {
                model: meterPage.graphCount
                delegate: Rectangle {
                    required property int index
                    Layout.fillWidth: true
                    Layout.fillHeight: true
                    Layout.bottomMargin: 16
                    color: "white"
                    GraphItem {
                        id: graph
                        objectName: "graph-" + meterPage.page + "-" + parent.index
                        anchors.fill: parent
                        model: Navigation.main
                        page: meterPage.page
                        graph: parent.index
                    }
                    MouseArea {
                        anchors.fill: parent
                        pressAndHoldInterval: 500
                        onPressAndHold: (mouse) => { pager.holding = true; graph.holdX = mouse.x }
                        onPositionChanged: (mouse) => { if (pager.holding) graph.holdX = mouse.x }
                        onReleased: { pager.holding = false; graph.holdX = -1 }
                        onCanceled: { pager.holding = false; graph.holdX = -1 }
                        onDoubleClicked: Navigation.main.graphAction()
                    }
                }
            }
            Item { Layout.fillHeight: meterPage.graphCount === 0 }
        }
    }

    PageIndicator {
        id: indicator
        visible: page.model.showPageControl && page.model.pageCount > 1
        count: page.model.pageCount
        currentIndex: pager.currentIndex
        interactive: true
        onCurrentIndexChanged: if (currentIndex !== pager.currentIndex) page.model.pageAction(currentIndex)
        anchors.bottom: parent.bottom
        anchors.horizontalCenter: parent.horizontalCenter
    }

    footer: ToolBar {
        background: Rectangle { color: Theme.bar; Rectangle { width: parent.width; height: 1; color: Theme.separator } }
        RowLayout {
            anchors.fill: parent
            anchors.leftMargin: 4
            anchors.rightMargin: 4
            spacing: 8
            ToolButton {
                objectName: "compareButton"
                icon.source: pager.drawn ? "qrc:/Numbrel/icons/power.svg" : ""
                icon.color: Theme.tint
                ToolTip.visible: hovered
                ToolTip.delay: 600
                ToolTip.text: qsTr("Price Comparison")
                onClicked: page.model.actionAction()
            }
            Item { Layout.fillWidth: true }
            Repeater {
                model: page.model.toolbar
                delegate: SegmentedControl {
                    required property var modelData
                    items: modelData.items
                    selected: modelData.selected
                    onChosen: (i) => page.model.segmentAction(modelData.tag, i)
                }
            }
            Item { Layout.fillWidth: true }
            ToolButton {
                objectName: "gearButton"
                // Drawn from the second frame: reading an image loads every image format plugin.
                icon.source: pager.drawn ? "qrc:/Numbrel/icons/gear.svg" : ""
                icon.color: Theme.tint
                onClicked: page.model.settingsAction()
            }
        }
    }
}
