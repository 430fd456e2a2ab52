import QtQuick
import Tallyrig

// Asks before every card goes.
ConfirmationDialog {
    heading: "Clear all readers?"
    message: "This removes all reader tiles and resets the layout. This cannot be undone."
    confirmText: "Clear All Readers"
}
