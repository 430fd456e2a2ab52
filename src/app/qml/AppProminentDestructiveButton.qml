import QtQuick
import Tallyrig

// The one button of a panel, where it takes something away.
AppPrimaryButton {
    horizontalPadding: 16
    verticalPadding: 8
    fill: Theme.destructive
}
