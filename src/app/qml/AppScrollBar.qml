import QtQuick
import QtQuick.Templates as T
import Tallyrig

// A slim bar that shows where a long view stands; there only when the view is longer than its room.
T.ScrollBar {
    id: control

    implicitWidth: 10
    implicitHeight: 10
    padding: 2
    minimumSize: 0.08
    visible: size < 1

    contentItem: Rectangle {
        implicitWidth: 6
        implicitHeight: 6
        radius: 3
        color: Theme.fill(control.pressed ? 0.5 : 0.28)
    }
}
