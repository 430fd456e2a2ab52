import QtQuick
import QtQuick.Dialogs

// Lets the user choose one audio or video file. The dialog is made when it is first wanted.
Loader {
    id: browser

    required property list<string> filters
    signal chosen(url file)

    function open() {
        active = true
        item.open()
    }

    active: false
    sourceComponent: FileDialog {
        title: "Choose a Clip"
        fileMode: FileDialog.OpenFile
        nameFilters: browser.filters
        onAccepted: browser.chosen(selectedFile)
    }
}
