import QtQuick
import QtQuick.Dialogs
import Numbrel

// The file dialogs a screen asks for through the navigation stack: files to open ("Add File…") or
// where to save one (the CSV export, starting in the documents folder with the export's name). The
// answer goes back with the request's number; a dialog closed without a choice answers nothing.
Item {
    id: dialogs
    property int request: 0
    function choose(request, save, name, folder) {
        dialogs.request = request
        if (save) {
            saveDialog.currentFolder = folder
            saveDialog.selectedFile = folder + "/" + name
            saveDialog.open()
        } else {
            addDialog.open()
        }
    }
    function closeAll() { saveDialog.reject(); addDialog.reject() }
    FileDialog {
        id: saveDialog
        objectName: "saveDialog"
        title: qsTr("CSV Export")
        fileMode: FileDialog.SaveFile
        acceptLabel: qsTr("Save")
        nameFilters: [qsTr("CSV files (*.csv)")]
        onAccepted: Navigation.filesChosen(dialogs.request, [selectedFile])
        onRejected: Navigation.filesChosen(dialogs.request, [])
    }
    FileDialog {
        id: addDialog
        objectName: "addDialog"
        title: qsTr("Add File")
        fileMode: FileDialog.OpenFiles
        acceptLabel: qsTr("Add")
        nameFilters: [qsTr("Backups and CSV files (*.bak *.csv *.BAK *.CSV)"), qsTr("All files (*)")]
        onAccepted: Navigation.filesChosen(dialogs.request, selectedFiles)
        onRejected: Navigation.filesChosen(dialogs.request, [])
    }
}
