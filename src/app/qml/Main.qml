import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Numbrel

// The window: the bar, the pages as the navigation stack has them, and the dialogs the screens ask
// for. Each page says what its bar shows: pageTitle, leftText/rightText and leftAction()/rightAction().
ApplicationWindow {
    id: window
    width: 390
    height: 844
    visible: true
    title: "Numbrel"
    color: Theme.background

    readonly property bool busy: stack.busy  // a page is moving in or out
    readonly property var main: Navigation.main

    onWidthChanged: main.setWindowSize(width, height)
    onHeightChanged: main.setWindowSize(width, height)
    Component.onCompleted: {
        main.setWindowSize(width, height)
        Session.showStartupAlerts()
        main.appear()
    }

    header: ToolBar {
        implicitHeight: 44
        background: Rectangle { color: window.main.black ? "#000000" : Theme.bar; Rectangle { anchors.bottom: parent.bottom; width: parent.width; height: 1; color: window.main.black ? "#000000" : Theme.separator } }
        RowLayout {
            anchors.fill: parent
            ToolButton {
                objectName: "leftButton"
                palette.buttonText: window.main.black ? "#ffffff" : "#000000"
                text: stack.currentItem ? stack.currentItem.leftText : ""
                enabled: text !== ""
                font.pixelSize: 15
                Layout.preferredWidth: 90
                Layout.fillHeight: true
                onClicked: stack.currentItem.leftAction()
            }
            // A page may put a segmented control in place of its title (the backups screen's stores).
            Item {
                visible: segments.items.length > 0
                Layout.fillWidth: true
                Layout.fillHeight: true
                SegmentedControl {
                    id: segments
                    objectName: "titleSegments"
                    readonly property var page: stack.currentItem
                    anchors.centerIn: parent
                    items: page && page.titleSegments !== undefined ? page.titleSegments : []
                    selected: page && page.titleSegment !== undefined ? page.titleSegment : -1
                    segmentWidth: 70
                    onChosen: (index) => page.chooseTitleSegment(index)
                }
            }
            Label {
                objectName: "pageTitle"
                visible: segments.items.length === 0
                text: stack.currentItem ? stack.currentItem.pageTitle : ""
                font.bold: true
                font.pixelSize: 17
                color: window.main.black ? "white" : Theme.label
                horizontalAlignment: Text.AlignHCenter
                Layout.fillWidth: true
                elide: Text.ElideRight
            }
            ToolButton {
                objectName: "addButton"
                palette.buttonText: window.main.black ? "#ffffff" : "#000000"
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
    // arrows and Page Up/Down move between meters, Ctrl+Q quits (saving, as closing does). While a job
    // runs the window takes no edits: Escape is the job's Cancel (the progress dialog's own).
    readonly property bool rightIsDefault: !!stack.currentItem && (stack.currentItem.rightText === qsTr("Save") || stack.currentItem.rightText === qsTr("Done"))
    function back() {
        const page = stack.currentItem
        if (stack.depth <= 1 || !page) return
        if (page.leftText !== "") page.leftAction()
        else if (page.rightText !== "") page.rightAction()
    }
    Shortcut { sequence: "Escape"; enabled: stack.depth > 1 && !Jobs.running; onActivated: window.back() }
    Shortcut { sequences: ["Return", "Enter"]; enabled: window.rightIsDefault && !Jobs.running; onActivated: stack.currentItem.rightAction() }
    Shortcut { sequence: StandardKey.Quit; context: Qt.ApplicationShortcut; onActivated: Qt.quit() }
    Shortcut { sequences: ["Left", "PgUp"]; enabled: stack.depth === 1 && !Jobs.running; onActivated: main.pageAction(Math.max(0, main.meterIndex - 1)) }
    Shortcut { sequences: ["Right", "PgDown"]; enabled: stack.depth === 1 && !Jobs.running; onActivated: main.pageAction(Math.min(main.pageCount - 1, main.meterIndex + 1)) }

    // The pages follow the navigation stack: one page per screen, drawn from the screen's model.
    StackView {
        id: stack
        anchors.fill: parent
        initialItem: MainPage { model: window.main }
        // The page on top takes the keyboard (reading entry types digits).
        onCurrentItemChanged: if (currentItem) currentItem.forceActiveFocus()
    }
    Connections {
        target: Navigation
        function onScreenPushed(model) {
            // The pages are read when first pushed, not at start.
            const page = model.kind === "entry" ? "EntryPage.qml" : model.kind === "readings" ? "ReadingsPage.qml"
                       : model.kind === "help" ? "HelpPage.qml" : "TablePage.qml"
            stack.push(Qt.resolvedUrl(page), { model: model })
        }
        function onScreensPopped(depth) {
            if (stack.depth > depth) stack.pop(stack.get(depth - 1))
        }
        function onAlertRequested(alert) { alertDialog.show(alert) }
        function onFilesRequested(request, mode, name, folder) {
            if (!canOpenFileDialogs()) { Navigation.filesChosen(request, []); return }
            fileDialogs.active = true
            fileDialogs.item.choose(request, mode, name, folder)
        }
    }
    Connections {
        target: Session
        function onSaveFailed(message) {
            alertDialog.show({ ticket: 0, title: qsTr("Warning!"), message: qsTr("Your readings could not be saved: ") + message,
                               buttons: [qsTr("OK")], cancelButton: 0, defaultButton: 0 })
        }
    }

    // File dialogs are made when first needed. Their implementation needs Qt.labs.folderlistmodel,
    // and opening one without it would crash: it is looked for first, and its absence is said.
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
            alertDialog.show({ ticket: 0, title: qsTr("Warning!"), buttons: [qsTr("OK")], cancelButton: 0, defaultButton: 0,
                               message: qsTr("The file dialog cannot be opened: the Qt module Qt.labs.folderlistmodel (Debian package qml6-module-qt-labs-folderlistmodel) is missing") })
        return fileDialogsWork
    }
    Loader { id: fileDialogs; active: false; source: "FileDialogs.qml" }

    // Alerts are shown by one dialog, made with the first of them.
    Loader { id: alertLoader; active: false; sourceComponent: AlertDialog { parent: window.contentItem } }
    readonly property QtObject alertDialog: QtObject {
        readonly property bool visible: alertLoader.item ? alertLoader.item.visible : false
        readonly property var alert: alertLoader.item ? alertLoader.item.alert : ({})
        function show(a) { alertLoader.active = true; alertLoader.item.show(a) }
        function answer(button) { if (alertLoader.item) alertLoader.item.answer(button) }
    }
    // The editor and the progress dialog are made when first needed: the window starts sooner.
    Loader { id: editorLoader; active: false; sourceComponent: EditorDialog {} }
    readonly property var editor: editorLoader.item
    Connections {
        target: Editor
        function onOpened() { if (Editor.editing) { editorLoader.active = true; editorLoader.item.showEditor() } }
    }
    Loader { active: Jobs.running; sourceComponent: ProgressDialog {} }

    // For the checks: the self-test and the screenshots drive the window through these.
    Loader { id: selfTest; active: false; sourceComponent: SelfTest { appWindow: window; pages: stack; alerts: alertDialog; files: fileDialogs } }
    function selfTestStep(step) { selfTest.active = true; return selfTest.item.step(step) }
    function showForScreenshot(what) { selfTest.active = true; selfTest.item.show(what) }
}
