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
    readonly property bool busy: stack.busy  // a page is moving in or out

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
        if (what === "stepped" || what === "monthly") { openMeters(); App.openTariff(0); stack.push(tariffPage); if (what === "monthly") { App.tariffFlip(30, true); App.tariffFlip(31, false) } }
        if (what === "units") { openMeters(); App.openTariff(0); stack.push(tariffPage); App.tariffSelect(1, 0); App.screenSetEditing(true) }
        if (what === "themes") App.openThemes()
        if (what === "backups") App.openBackups()
        if (what === "filemenu") { App.openBackups(); App.screenSelect(2, 0) }
        if (what === "date") { openMeters(); App.openTariff(0); stack.push(tariffPage); App.answerAlert(40, 1); App.tariffSelect(5, 0); App.screenSelect(0, 0) }
        if (what === "postcode") { openMeters(); App.openTariff(0); stack.push(tariffPage); App.tariffSelect(0, 4) }
        if (what === "notes") { openMeters(); App.openTariff(0); stack.push(tariffPage); App.tariffSelect(0, 6) }
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
        App.openBackups()
        App.screenPop()
        stack.pop()
    }

    // Each page says what its bar shows: pageTitle, leftText/rightText and leftAction()/rightAction().
    header: ToolBar {
        background: Rectangle { color: App.black ? "#000000" : Theme.bar; Rectangle { anchors.bottom: parent.bottom; width: parent.width; height: 1; color: App.black ? "#000000" : Theme.separator } }
        RowLayout {
            anchors.fill: parent
            ToolButton {
                objectName: "leftButton"
                palette.buttonText: App.black ? "#ffffff" : "#000000"
                text: stack.currentItem ? stack.currentItem.leftText : ""
                enabled: text !== ""
                Layout.preferredWidth: 90
                onClicked: stack.currentItem.leftAction()
            }
            Label {
                text: stack.currentItem ? stack.currentItem.pageTitle : ""
                font.bold: true
                font.pixelSize: 17
                color: App.black ? "white" : Theme.label
                horizontalAlignment: Text.AlignHCenter
                Layout.fillWidth: true
                elide: Text.ElideRight
            }
            ToolButton {
                objectName: "addButton"
                palette.buttonText: App.black ? "#ffffff" : "#000000"
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

    // The editor of one value: a number field (typing rules from the model, a sign button, a
    // period), a line of text, a postcode, notes on several lines, or a date on wheels.
    Dialog {
        id: editor
        property var edit: ({ title: "", prompt: "", value: "", period: "", kind: "number", allowNegative: false, negative: false, required: false })
        property string accepted: ""  // the field's text as the model last accepted it
        property bool negative: false
        readonly property var periods: ["day", "week", "month", "quarter", "year"]
        readonly property bool multiLine: edit.kind === "notes"
        readonly property bool isDate: edit.kind === "date"
        modal: true
        anchors.centerIn: Overlay.overlay
        width: Math.min(340, window.width - 32)
        title: edit.title
        standardButtons: Dialog.Cancel | Dialog.Save
        function show(e) {
            edit = e
            negative = !!e.negative
            field.text = e.value
            notes.text = e.value
            accepted = e.value
            period.currentIndex = Math.max(0, periods.indexOf(e.period))
            if (isDate) {
                const p = e.value.split("-")
                dateWheels.date = new Date(parseInt(p[0]), parseInt(p[1]) - 1, parseInt(p[2]), 12, 0, 0)
            }
            refused.visible = false
            open()
            if (multiLine) {
                notes.forceActiveFocus()
            } else if (!isDate) {
                field.forceActiveFocus()
                field.selectAll()
            }
        }
        function text() {
            if (isDate) {
                const d = dateWheels.current()
                return d.getFullYear() + "-" + ("0" + (d.getMonth() + 1)).slice(-2) + "-" + ("0" + d.getDate()).slice(-2)
            }
            if (multiLine) return notes.text
            return (edit.allowNegative && negative ? "-" : "") + field.text
        }
        onOpened: standardButton(Dialog.Save).enabled = Qt.binding(() => !editor.edit.required || (editor.multiLine ? notes.text : field.text).trim() !== "")
        onAccepted: {
            if (!App.tariffApply(text(), edit.period ? periods[period.currentIndex] : "")) {
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
            RowLayout {
                visible: !editor.multiLine && !editor.isDate
                Layout.fillWidth: true
                Button {
                    objectName: "signButton"
                    visible: editor.edit.allowNegative
                    text: editor.negative ? "-" : "+"
                    font.pixelSize: 18
                    Layout.preferredWidth: 44
                    onClicked: editor.negative = !editor.negative
                }
                TextField {
                    id: field
                    objectName: "editorField"
                    Layout.fillWidth: true
                    inputMethodHints: editor.edit.kind === "number" ? Qt.ImhFormattedNumbersOnly
                                      : editor.edit.kind === "postcode" ? Qt.ImhUppercaseOnly : Qt.ImhNone
                    onTextEdited: {
                        const answer = App.editTyped(editor.accepted, text)
                        if (answer === null || answer === undefined) {
                            const at = Math.max(0, cursorPosition - (text.length - editor.accepted.length))
                            text = editor.accepted
                            cursorPosition = Math.min(at, text.length)
                        } else if (answer !== text) {
                            text = answer
                        }
                        editor.accepted = text
                    }
                    onAccepted: if (editor.standardButton(Dialog.Save).enabled) editor.accept()
                }
            }
            ScrollView {
                visible: editor.multiLine
                Layout.fillWidth: true
                Layout.preferredHeight: window.height >= 700 ? 260 : 180
                TextArea {
                    id: notes
                    wrapMode: TextEdit.Wrap
                    background: Rectangle { color: "white"; border.color: Theme.separator }
                }
            }
            DateWheels {
                id: dateWheels
                visible: editor.isDate
                Layout.fillWidth: true
                Layout.preferredHeight: 180
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
