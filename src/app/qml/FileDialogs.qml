import QtQuick
import QtQuick.Dialogs
import Numbrel

// The file dialogs a screen asks for through the navigation stack: files to open ("Add File…"),
// where to save one (the CSV export, starting in the documents folder with the export's name), or a
// folder (the cloud folder). The answer goes back with the request's number; a dialog closed without a
// choice answers nothing.
Item {
    id: dialogs
    property int request: 0
    function choose(request, mode, name, folder) {
        dialogs.request = request
        if (mode === 2) {
            folderDialog.currentFolder = folder
            folderDialog.open()
        } else if (mode === 1) {
            saveDialog.currentFolder = folder
            saveDialog.selectedFile = folder + "/" + name
            saveDialog.open()
        } else {
            addDialog.open()
        }
    }
    function closeAll() { saveDialog.reject(); addDialog.reject(); folderDialog.reject() }
    FolderDialog {
        id: folderDialog
        objectName: "folderDialog"
        title: qsTr("The folder your sync client keeps in step")
        acceptLabel: qsTr("Use This Folder")
        onAccepted: Navigation.filesChosen(dialogs.request, [selectedFolder])
        onRejected: Navigation.filesChosen(dialogs.request, [])
    }
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
