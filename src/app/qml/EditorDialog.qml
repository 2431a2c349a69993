import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Numbrel

// The editor of one value that a row opens: a number field (the typing rules come from the model, a
// sign button, a period), a line of text, a postcode, notes on several lines, or a date on wheels.
Dialog {
    id: editor
    // What the editor shows, taken from Editor when it opens.
    property var edit: ({ title: "", prompt: "", value: "", period: "", kind: "number", allowNegative: false, negative: false, required: false })
    property string accepted: ""  // the field's text as the model last accepted it
    property bool negative: false
    readonly property var periods: ["day", "week", "month", "quarter", "year"]
    readonly property bool multiLine: edit.kind === "notes"
    readonly property bool isDate: edit.kind === "date"
    parent: Overlay.overlay  // made in a Loader: shown over the whole window
    modal: true
    anchors.centerIn: Overlay.overlay
    width: Math.min(340, (parent ? parent.width : 372) - 32)
    title: edit.title
    standardButtons: Dialog.Cancel | Dialog.Save
    // Shows what Editor holds now.
    function showEditor() {
        show({ title: Editor.title, prompt: Editor.prompt, value: Editor.value, period: Editor.period, kind: Editor.kind,
               allowNegative: Editor.allowNegative, negative: Editor.negative, required: Editor.required })
    }
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
    onRejected: Editor.cancel()
    onAccepted: {
        if (!Editor.apply(text(), edit.period ? periods[period.currentIndex] : "")) {
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
                                  : editor.edit.kind === "postcode" ? Qt.ImhUppercaseOnly
                                  : editor.edit.kind === "password" ? Qt.ImhSensitiveData | Qt.ImhNoPredictiveText
                                  : Qt.ImhNone
                echoMode: editor.edit.kind === "password" ? TextInput.Password : TextInput.Normal
                onTextEdited: {
                    const answer = Editor.typed(editor.accepted, text)
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
            Layout.preferredHeight: editor.parent && editor.parent.height >= 700 ? 260 : 180
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

