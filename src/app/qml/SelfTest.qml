import QtQuick
import Numbrel

// The checks' way into the window: the self-test opens every page and dialog the app can show, one
// step at a time (so that each is made and drawn), and the screenshots open a scene by name. Both go
// through the screens' models as the pages do.
QtObject {
    id: test
    required property var appWindow
    required property var pages
    required property var alerts
    readonly property var editor: appWindow.editor
    required property var files
    readonly property var main: Navigation.main

    function top() { return Navigation.top }
    // Selects the first row of the screen on top with a label.
    function select(label) {
        const i = top().find(label)
        if (i < 0) console.warn("no row " + label + " on " + top().title)
        else top().select(i)
    }
    function pageRow(label) { const t = main.table(main.meterIndex); t.select(t.find(label)) }
    function answer(button) { alerts.answer(button) }
    function tariff() { main.metersAction(); top().info(0) }
    function backups() { main.settingsAction(); answer(0) }
    function settings() { main.settingsAction(); answer(1) }

    readonly property var steps: [
        () => { if (alerts.visible) answer(alerts.alert.cancelButton) },  // the tour of a fresh store
        () => main.addAction(),
        () => select(qsTr("Date")),                 // the date wheels
        () => top().save(),                         // a reading, for the readings list
        () => { if (alerts.visible) answer(0) },    // "Reading Saved": Done
        () => pageRow(qsTr("Readings")),
        () => top().usageAction(),                  // an action sheet
        () => answer(alerts.alert.cancelButton),
        () => top().exportAction(),                 // which meters
        () => answer(0),                            // the save dialog
        () => files.item.closeAll(),
        () => appWindow.back(),
        () => pageRow(qsTr("Current")),
        () => appWindow.back(),
        () => main.metersAction(),
        () => top().setEditing(true),
        () => top().setEditing(false),
        () => top().info(0),                        // the tariff editor
        () => select(qsTr("Conversion")),           // the number editor
        () => editor.reject(),
        () => select(qsTr("Name")),                 // the text editor
        () => editor.reject(),
        () => select(qsTr("Notes")),                // notes on several lines
        () => editor.reject(),
        () => select(qsTr("Billed")),               // a chooser
        () => appWindow.back(),
        () => select(qsTr("Add rate change")),
        () => answer(1),
        () => select(qsTr("Rates to")),             // a rate change
        () => top().select(top().firstOf(0)),       // its date on wheels
        () => editor.reject(),
        () => appWindow.back(),
        () => appWindow.back(),
        () => appWindow.back(),
        () => main.settingsAction(),
        () => answer(alerts.alert.cancelButton),
        () => backups(),
        () => select(qsTr("Add File…")),            // the file dialog
        () => files.item.closeAll(),
        () => appWindow.back(),
        () => settings(),
        () => select(qsTr("Email")),                // the one-line editor
        () => editor.reject(),
        () => select(qsTr("Reminders")),
        () => select(qsTr("Monthly")),              // day and time sections
        () => appWindow.back(),
        () => select(qsTr("Themes")),
        () => appWindow.back(),
        () => select(qsTr("User guide")),
        () => appWindow.back(),
        () => appWindow.back(),
        () => { main.settingsAction(); answer(2) }, // the guide from the gear menu
        () => appWindow.back(),
    ]
    function step(i) {
        if (i >= steps.length) return false
        steps[i]()
        return true
    }

    function show(what) {
        if (what === "entry") main.addAction()
        if (what === "entrydate") { main.addAction(); select(qsTr("Date")) }
        if (what === "sheet") main.settingsAction()
        if (what === "readings") pageRow(qsTr("Readings"))
        if (what === "bills") { pageRow(qsTr("Readings")); top().usageAction(); answer(2) }
        if (what === "bill") { pageRow(qsTr("Readings")); top().usageAction(); answer(1) }
        if (what === "current") pageRow(qsTr("Current"))
        if (what === "meters") { main.metersAction(); top().setEditing(true) }
        if (what === "tariff") tariff()
        if (what === "edit") { tariff(); select(qsTr("Rate")) }
        if (what === "stepped" || what === "tariffmonthly") { tariff(); if (what === "tariffmonthly") { top().flip(30, true); top().flip(31, false) } }
        if (what === "units") { tariff(); select(qsTr("Billed")); top().setEditing(true) }
        if (what === "backups") backups()
        if (what === "filemenu") { backups(); top().select(top().firstOf(2)) }
        if (what === "date") { tariff(); select(qsTr("Add rate change")); answer(1); select(qsTr("Rates to")); top().select(top().firstOf(0)) }
        if (what === "postcode") { tariff(); select(qsTr("Postcode")) }
        if (what === "notes") { tariff(); select(qsTr("Notes")) }
        if (what === "type") { tariff(); select(qsTr("Type")); top().select(top().firstOf(1) + 1); top().select(top().firstOf(2) + 1) }
        if (what === "settings") settings()
        if (what === "settingsnotips") { settings(); top().flip(16, false) }
        if (what === "reminders") { settings(); select(qsTr("Reminders")) }
        if (what === "daily" || what === "weekly" || what === "monthly") {
            settings(); select(qsTr("Reminders")); select(qsTr(what.charAt(0).toUpperCase() + what.slice(1)))
        }
        if (what === "guide") { main.settingsAction(); answer(2) }
        if (what === "savedialog") { pageRow(qsTr("Readings")); top().exportAction(); answer(0) }
    }
}
