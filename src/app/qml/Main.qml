import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Numbrel

ApplicationWindow {
    id: window
    width: 390
    height: 844
    visible: true
    title: "Numbrel"
    color: Theme.background

    property var startupAlerts: []

    onWidthChanged: App.setWindowSize(width, height)
    onHeightChanged: App.setWindowSize(width, height)
    Component.onCompleted: {
        App.setWindowSize(width, height)
        for (const a of startupAlerts) alertDialog.show(a)
        App.appear()
    }

    function openEntry(readingIndex) {
        App.openEntry(readingIndex === undefined ? -1 : readingIndex)
        stack.push(entryPage)
    }
    // For screenshots: "entry" (reading entry) or "sheet" (the settings menu).
    function showForScreenshot(what) {
        if (what === "entry") openEntry(-1)
        if (what === "sheet") alertDialog.show(App.settingsSheet())
        if (what === "readings") openReadings()
        if (what === "bills") { openReadings(); App.readingsUsageAction(); App.answerAlert(1, 2); alertDialog.close() }
        if (what === "bill") { openReadings(); App.answerAlert(1, 1) }
        if (what === "current") openCurrent()
        if (what === "meters") { openMeters(); App.metersEdit(true) }
        if (what === "tariff") { openMeters(); App.openTariff(0); stack.push(tariffPage) }
        if (what === "edit") { openMeters(); App.openTariff(0); stack.push(tariffPage); App.tariffSelect(2, 0) }
        if (what === "type") { openMeters(); App.openTariff(0); stack.push(tariffPage); App.tariffSelect(0, 1); App.screenSelect(1, 1); App.screenSelect(2, 1) }
    }
    function selfTest() {
        openEntry(-1)
        stack.pop()
        openReadings()
        stack.pop()
        openCurrent()
        stack.pop()
        openMeters()
        App.openTariff(0)
        stack.push(tariffPage)
        App.tariffSelect(0, 2)
        App.screenPop()
        stack.pop()
        stack.pop()
        stack.pop()
        alertDialog.show(App.settingsSheet())
        alertDialog.close()
    }

    // Each page says what its bar shows: pageTitle, leftText/rightText and leftAction()/rightAction().
    header: ToolBar {
        background: Rectangle { color: Theme.bar; Rectangle { anchors.bottom: parent.bottom; width: parent.width; height: 1; color: Theme.separator } }
        RowLayout {
            anchors.fill: parent
            ToolButton {
                objectName: "leftButton"
                text: stack.currentItem ? stack.currentItem.leftText : ""
                enabled: text !== ""
                Layout.preferredWidth: 90
                onClicked: stack.currentItem.leftAction()
            }
            Label {
                text: stack.currentItem ? stack.currentItem.pageTitle : ""
                font.bold: true
                font.pixelSize: 17
                horizontalAlignment: Text.AlignHCenter
                Layout.fillWidth: true
                elide: Text.ElideRight
            }
            ToolButton {
                objectName: "addButton"
                text: stack.currentItem ? stack.currentItem.rightText : ""
                enabled: text !== ""
                font.pixelSize: text === "+" ? 26 : 15
                font.bold: text !== "+"
                Layout.preferredWidth: 90
                onClicked: stack.currentItem.rightAction()
            }
        }
    }

    StackView {
        id: stack
        anchors.fill: parent
        initialItem: MainPage {}
    }

    Component {
        id: entryPage
        EntryPage {}
    }
    Component {
        id: readingsPage
        ReadingsPage {}
    }
    Component {
        id: currentPage
        CurrentPage {}
    }
    function openReadings() {
        App.openReadings()
        stack.push(readingsPage)
    }
    Component {
        id: metersPage
        MetersPage {}
    }
    Component {
        id: tariffPage
        TariffPage {}
    }
    Component {
        id: screenPage
        ScreenPage {}
    }
    function openMeters() {
        App.openMeters()
        stack.push(metersPage)
    }
    function openCurrent() {
        App.openCurrent()
        stack.push(currentPage)
    }

    Connections {
        target: App
        function onEntryClosed() { if (stack.depth > 1) stack.pop() }
        function onEntryOpened() { stack.push(entryPage) }
        function onReadingsClosed() { if (stack.depth > 1) stack.pop() }
        function onTariffOpened() { stack.push(tariffPage) }
        function onScreenPushed() { stack.push(screenPage) }
        function onScreenClosed() { stack.pop() }
        function onSaveFailed(message) {
            alertDialog.show({ tag: -1, title: qsTr("Warning!"), message: qsTr("Your readings could not be saved: ") + message, buttons: [qsTr("OK")] })
        }
    }
    Connections {
        target: App.navigator
        function onAlertRequested(alert) { alertDialog.show(alert) }
    }

    AlertDialog { id: alertDialog }

    Connections {
        target: App
        function onEditRequested(edit) { editor.show(edit) }
    }

    Dialog {
        id: editor
        property var edit: ({ title: "", prompt: "", value: "", period: "", number: true })
        modal: true
        anchors.centerIn: Overlay.overlay
        width: Math.min(340, window.width - 32)
        title: edit.title
        standardButtons: Dialog.Cancel | Dialog.Save
        function show(e) {
            edit = e
            field.text = e.value
            period.currentIndex = Math.max(0, ["day", "week", "month", "quarter", "year"].indexOf(e.period))
            refused.visible = false
            open()
            field.forceActiveFocus()
            field.selectAll()
        }
        onAccepted: {
            if (!App.tariffApply(field.text, edit.period ? ["day", "week", "month", "quarter", "year"][period.currentIndex] : "")) {
                refused.visible = true
                open()
            }
        }
        ColumnLayout {
            width: parent.width
            spacing: 10
            Label {
                visible: text !== ""
                text: editor.edit.prompt
                wrapMode: Text.WordWrap
                font.pixelSize: 13
                color: Theme.footer
                Layout.fillWidth: true
            }
            TextField {
                id: field
                Layout.fillWidth: true
                inputMethodHints: editor.edit.number ? Qt.ImhFormattedNumbersOnly : Qt.ImhNone
                onAccepted: editor.accept()
            }
            ComboBox {
                id: period
                visible: !!editor.edit.period
                Layout.fillWidth: true
                model: [qsTr("day"), qsTr("week"), qsTr("month"), qsTr("quarter"), qsTr("year")]
            }
            Label {
                id: refused
                visible: false
                text: qsTr("That value cannot be used here")
                color: "#ff3b30"
                font.pixelSize: 13
            }
        }
    }

}
