import QtQuick
import Tallyrig

// Shows where the keyboard is. Fill the control with it.
Rectangle {
    property Item control: parent

    anchors.fill: parent
    anchors.margins: -3
    visible: control.visualFocus ?? control.activeFocus
    color: "transparent"
    radius: Theme.controlRadius + 3
    border.width: 2
    border.color: Theme.accent
}
