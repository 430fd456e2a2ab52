import QtQuick
import QtQuick.Layouts
import Tallyrig

// Stands in a form in place of a menu that would have nothing to choose from.
Text {
    Layout.fillWidth: true
    Layout.minimumHeight: Theme.controlHeight
    verticalAlignment: Text.AlignVCenter
    wrapMode: Text.WordWrap
    color: Theme.secondaryText
    font.pixelSize: 12
}
