import QtQuick
import Tallyrig

// A small window beside the main one, of a fixed size. Escape closes it; it can be closed and not minimised.
Window {
    id: utility

    required property TallyrigApp app

    signal closed()

    minimumWidth: width
    maximumWidth: width
    minimumHeight: height
    maximumHeight: height
    flags: Qt.Dialog | Qt.CustomizeWindowHint | Qt.WindowTitleHint | Qt.WindowCloseButtonHint
    color: Theme.window
    visible: true
    onClosing: closed()

    Shortcut {
        sequence: "Escape"
        onActivated: utility.closed()
    }
    AppWindowCentering { app: utility.app }
}
