import QtQuick
import Tallyrig

// A button beside the chief one that takes something away.
AppSecondaryButton {
    textColor: Theme.destructive
}
