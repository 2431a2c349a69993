import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import QtQuick.Dialogs
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
    // Opens the tariff editor's row with a label (the first such row).
    function selectTariffRow(label) {
        const sections = App.tariffSections
        for (let s = 0; s < sections.length; ++s)
            for (let r = 0; r < sections[s].rows.length; ++r)
                if (sections[s].rows[r].label === label) { App.tariffSelect(s, r); return true }
        console.warn("no tariff row " + label)
        return false
    }
    function openTariff(meter) {
        openMeters()
        App.openTariff(meter)
        stack.push(tariffPage)
    }
    // For screenshots: a screen by name, as scripts/screenshots uses them.
    function showForScreenshot(what) {
        if (what === "entry") openEntry(-1)
        if (what === "entrydate") { openEntry(-1); App.entrySelectRow(0) }
        if (what === "sheet") alertDialog.show(App.settingsSheet())
        if (what === "readings") openReadings()
        if (what === "bills") { openReadings(); App.readingsUsageAction(); App.answerAlert(1, 2); alertDialog.close() }
        if (what === "bill") { openReadings(); App.answerAlert(1, 1) }
        if (what === "current") openCurrent()
        if (what === "meters") { openMeters(); App.metersEdit(true) }
        if (what === "tariff") openTariff(0)
        if (what === "edit") { openTariff(0); selectTariffRow(qsTr("Rate")) }
        if (what === "stepped" || what === "monthly") { openTariff(0); if (what === "monthly") { App.tariffFlip(30, true); App.tariffFlip(31, false) } }
        if (what === "units") { openTariff(0); selectTariffRow(qsTr("Billed")); App.screenSetEditing(true) }
        if (what === "themes") App.openThemes()
        if (what === "backups") App.openBackups()
        if (what === "filemenu") { App.openBackups(); App.screenSelect(2, 0) }
        if (what === "date") { openTariff(0); App.answerAlert(40, 1); selectTariffRow(qsTr("Rates to")) && App.screenSelect(0, 0) }
        if (what === "postcode") { openTariff(0); selectTariffRow(qsTr("Postcode")) }
        if (what === "notes") { openTariff(0); selectTariffRow(qsTr("Notes")) }
        if (what === "type") { openTariff(0); selectTariffRow(qsTr("Type")); App.screenSelect(1, 1); App.screenSelect(2, 1) }
        if (what === "savedialog") { openReadings(); openSaveDialog(false, "electricity.csv") }
    }

    // The self-test opens every page and dialog the app can show, one step at a time (so that each
    // is made and drawn); a step answers false when there are no more.
    function selfTestStep(step) {
        const steps = [
            () => openEntry(-1),
            () => App.entrySelectRow(0),              // the date wheels
            () => back(),
            () => openReadings(),
            () => App.readingsUsageAction(),          // an action sheet
            () => alertDialog.answer(alertDialog.alert.cancelButton),
            () => openSaveDialog(false, "electricity.csv"),
            () => saveDialog.close(),
            () => back(),
            () => openCurrent(),
            () => back(),
            () => openMeters(),
            () => App.metersEdit(true),
            () => App.metersEdit(false),
            () => { App.openTariff(0); stack.push(tariffPage) },
            () => selectTariffRow(qsTr("Conversion")),   // the number editor
            () => editor.reject(),
            () => selectTariffRow(qsTr("Name")),         // the text editor
            () => editor.reject(),
            () => selectTariffRow(qsTr("Notes")),        // notes on several lines
            () => editor.reject(),
            () => selectTariffRow(qsTr("Billed")),       // a chooser
            () => back(),
            () => { App.answerAlert(40, 1); selectTariffRow(qsTr("Rates to")) },  // a rate change
            () => App.screenSelect(0, 0),                // its date on wheels
            () => editor.reject(),
            () => back(),
            () => back(),
            () => back(),
            () => alertDialog.show(App.settingsSheet()),
            () => alertDialog.answer(alertDialog.alert.cancelButton),
            () => App.openThemes(),
            () => back(),
            () => App.openBackups(),
            () => openAddFileDialog(),
            () => addDialog.close(),
            () => back(),
        ]
        if (step >= steps.length) return false
        steps[step]()
        return true
    }

    // Each page says what its bar shows: pageTitle, leftText/rightText and leftAction()/rightAction().
    // The bar keeps one height on every page.
    header: ToolBar {
        implicitHeight: 44
        background: Rectangle { color: App.black ? "#000000" : Theme.bar; Rectangle { anchors.bottom: parent.bottom; width: parent.width; height: 1; color: App.black ? "#000000" : Theme.separator } }
        RowLayout {
            anchors.fill: parent
            ToolButton {
                objectName: "leftButton"
                palette.buttonText: App.black ? "#ffffff" : "#000000"
                text: stack.currentItem ? stack.currentItem.leftText : ""
                enabled: text !== ""
                font.pixelSize: 15
                Layout.preferredWidth: 90
                Layout.fillHeight: true
                onClicked: stack.currentItem.leftAction()
            }
            Label {
                objectName: "pageTitle"
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
                font.bold: window.rightIsDefault
                Layout.preferredWidth: 90
                Layout.fillHeight: true
                onClicked: stack.currentItem.rightAction()
            }
        }
    }

    // Keys as a desktop has them: Escape goes back or cancels, Enter is the page's Save or Done, the
    // arrows and Page Up/Down move between meters, Ctrl+Q quits (saving, as closing does).
    readonly property bool rightIsDefault: !!stack.currentItem && (stack.currentItem.rightText === qsTr("Save") || stack.currentItem.rightText === qsTr("Done"))
    function back() {
        const page = stack.currentItem
        if (stack.depth <= 1 || !page) return
        if (page.leftText !== "") page.leftAction()
        else if (page.rightText !== "") page.rightAction()
    }
    Shortcut { sequence: "Escape"; enabled: stack.depth > 1; onActivated: window.back() }
    Shortcut { sequences: ["Return", "Enter"]; enabled: window.rightIsDefault; onActivated: stack.currentItem.rightAction() }
    Shortcut { sequence: StandardKey.Quit; context: Qt.ApplicationShortcut; onActivated: Qt.quit() }
    Shortcut { sequences: ["Left", "PgUp"]; enabled: stack.depth === 1; onActivated: App.pageAction(Math.max(0, App.meterIndex - 1)) }
    Shortcut { sequences: ["Right", "PgDown"]; enabled: stack.depth === 1; onActivated: App.pageAction(Math.min(App.pageCount - 1, App.meterIndex + 1)) }

    StackView {
        id: stack
        anchors.fill: parent
        initialItem: MainPage {}
        // The page on top takes the keyboard (reading entry types digits).
        onCurrentItemChanged: if (currentItem) currentItem.forceActiveFocus()
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
        function onExportSaveRequested(all, suggestedName) { openSaveDialog(all, suggestedName) }
        function onAddFileRequested() { openAddFileDialog() }
    }

    // File dialogs. Their implementation needs Qt.labs.folderlistmodel, and opening one without it
    // would crash: it is looked for first, and its absence is said.
    property var fileDialogsWork: undefined
    function canOpenFileDialogs() {
        if (fileDialogsWork === undefined) {
            try {
                Qt.createQmlObject("import Qt.labs.folderlistmodel\nFolderListModel {}", window, "fileDialogCheck").destroy()
                fileDialogsWork = true
            } catch (e) {
                fileDialogsWork = false
                console.warn("file dialogs cannot be made: " + e.message)
            }
        }
        if (!fileDialogsWork)
            alertDialog.show({ tag: -1, title: qsTr("Warning!"), buttons: [qsTr("OK")],
                               message: qsTr("The file dialog cannot be opened: the Qt module Qt.labs.folderlistmodel (Debian package qml6-module-qt-labs-folderlistmodel) is missing") })
        return fileDialogsWork
    }
    // The CSV export goes where the user chooses: the documents folder, under the export's own name.
    function openSaveDialog(all, name) {
        if (!canOpenFileDialogs()) return
        saveDialog.all = all
        saveDialog.currentFolder = App.userDocuments()
        saveDialog.selectedFile = App.userDocuments() + "/" + name
        saveDialog.open()
    }
    function openAddFileDialog() {
        if (!canOpenFileDialogs()) return
        addDialog.open()
    }
    FileDialog {
        id: saveDialog
        objectName: "saveDialog"
        property bool all: false
        title: qsTr("CSV Export")
        fileMode: FileDialog.SaveFile
        acceptLabel: qsTr("Save")
        nameFilters: [qsTr("CSV files (*.csv)")]
        onAccepted: App.readingsSaveExport(all, selectedFile)
    }
    FileDialog {
        id: addDialog
        objectName: "addDialog"
        title: qsTr("Add File")
        fileMode: FileDialog.OpenFiles
        acceptLabel: qsTr("Add")
        nameFilters: [qsTr("Backups and CSV files (*.bak *.csv *.BAK *.CSV)"), qsTr("All files (*)")]
        onAccepted: { for (const f of selectedFiles) App.addFile(f) }
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
                contentWidth: availableWidth
                Layout.fillWidth: true
                Layout.preferredHeight: window.height >= 700 ? 260 : 180
                TextArea {
                    id: notes
                    wrapMode: TextEdit.Wrap
                    background: Rectangle { color: "white"; border.color: Theme.separator }
                }
            }
            // Enter saves a date too (a text field takes Enter itself).
            Shortcut { sequences: ["Return", "Enter"]; enabled: editor.visible && editor.isDate; onActivated: editor.accept() }
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
