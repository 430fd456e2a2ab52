import QtQuick
import QtQuick.Dialogs

// Lets the user choose one audio or video file. The dialog is made when it is first wanted.
Loader {
    id: browser

    signal chosen(url file)

    function open() {
        active = true
        item.open()
    }

    active: false
    sourceComponent: FileDialog {
        title: "Choose a Clip"
        fileMode: FileDialog.OpenFile
        nameFilters: ["Audio and video files (*.wav *.aif *.aiff *.mp3 *.mp4 *.mov *.m4v *.m4a *.flac *.ogg *.mkv *.mxf *.avi)",
                      "All files (*)"]
        onAccepted: browser.chosen(selectedFile)
    }
}
