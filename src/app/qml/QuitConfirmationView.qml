import QtQuick
import Tallyrig

// Asks before the program ends, for a slip of the hand must not take the timecode from a show.
ConfirmationDialog {
    heading: "Quit Tallyrig?"
    message: "Are you sure you want to close Tallyrig?"
    confirmText: "Quit"
    confirmIsDefault: true
}
