import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Numbrel

// The meter pager: one page per meter, a short table and the graphs; the toolbar below.
Page {
    id: page
    background: Rectangle { color: Theme.background }
    property string pageTitle: App.title
    property string leftText: qsTr("Meters")
    property string rightText: "+"
    function leftAction() { window.openMeters() }
    function rightAction() { window.openEntry(-1) }

    SwipeView {
        id: pager
        anchors.fill: parent
        anchors.bottomMargin: indicator.visible ? indicator.height : 0
        currentIndex: App.meterIndex
        onCurrentIndexChanged: App.pageAction(currentIndex)
        interactive: !holding
        property bool holding: false

        Repeater {
            model: App.pageCount
            // Pages further than one from the visible page are empty placeholders, so that many
            // meters cost no more than three.
            delegate: Loader {
                id: pageLoader
                required property int index
                active: Math.abs(index - pager.currentIndex) <= 1
                sourceComponent: meterPageComponent
                onLoaded: item.index = index
            }
        }
    }

    Component {
        id: meterPageComponent
        Item {
            id: meterPage
            property int index: -1
            property var sections: index < 0 ? [] : (App.revision, App.pageSections(index))
            property var tables: sections.filter(s => s.rows.length === 0 || s.rows[0].label !== "Graph")
            property int graphCount: sections.length - tables.length

            ColumnLayout {
                anchors.fill: parent
                anchors.topMargin: 8
                spacing: 12
                Repeater {
                    model: meterPage.tables
                    delegate: TableSection {
                        required property var modelData
                        Layout.fillWidth: true
                        model: modelData
                        onRowSelected: (row) => {
                            const label = modelData.rows[row].label
                            if (label === qsTr("Readings") && modelData.rows[row].detail !== qsTr("None")) window.openReadings()
                            if (label === qsTr("Current")) window.openCurrent()
                        }
                    }
                }
                Repeater {
                    model: meterPage.graphCount
                    delegate: Rectangle {
                        required property int index
                        Layout.fillWidth: true
                        Layout.fillHeight: true
                        Layout.bottomMargin: 4
                        color: "white"
                        GraphItem {
                            id: graph
                            objectName: "graph-" + meterPage.index + "-" + parent.index
                            anchors.fill: parent
                            services: App
                            page: meterPage.index
                            graph: parent.index
                        }
                        MouseArea {
                            anchors.fill: parent
                            pressAndHoldInterval: 500
                            onPressAndHold: (mouse) => { pager.holding = true; graph.holdX = mouse.x }
                            onPositionChanged: (mouse) => { if (pager.holding) graph.holdX = mouse.x }
                            onReleased: { pager.holding = false; graph.holdX = -1 }
                            onCanceled: { pager.holding = false; graph.holdX = -1 }
                            onDoubleClicked: App.graphAction()
                        }
                    }
                }
                Item { Layout.fillHeight: meterPage.graphCount === 0 }
            }
        }
    }

    PageIndicator {
        id: indicator
        visible: App.showPageControl && App.pageCount > 1
        count: App.pageCount
        currentIndex: pager.currentIndex
        interactive: true
        onCurrentIndexChanged: if (currentIndex !== pager.currentIndex) App.pageAction(currentIndex)
        anchors.bottom: parent.bottom
        anchors.horizontalCenter: parent.horizontalCenter
    }

    footer: ToolBar {
        background: Rectangle { color: Theme.bar; Rectangle { width: parent.width; height: 1; color: Theme.separator } }
        RowLayout {
            anchors.fill: parent
            anchors.leftMargin: 8
            anchors.rightMargin: 4
            spacing: 8
            Item { Layout.fillWidth: true }
            Repeater {
                model: App.toolbar
                delegate: SegmentedControl {
                    required property var modelData
                    items: modelData.items
                    selected: modelData.selected
                    onChosen: (i) => App.segmentAction(modelData.tag, i)
                }
            }
            Item { Layout.fillWidth: true }
            ToolButton {
                objectName: "gearButton"
                icon.source: "qrc:/Numbrel/icons/gear.svg"
                icon.color: Theme.tint
                onClicked: alertDialog.show(App.settingsSheet())
            }
        }
    }
}
