import QtQuick
import Tallyrig

// Work under way: a turning arc and a text. It moves only while it can be seen.
Row {
    id: line

    property alias text: label.text

    spacing: 8
    Accessible.role: Accessible.StaticText
    Accessible.name: text

    AppIcon {
        anchors.verticalCenter: parent.verticalCenter
        name: "refresh"
        size: 14
        color: Theme.accent

        RotationAnimator on rotation {
            running: line.visible
            loops: Animation.Infinite
            from: 0
            to: 360
            duration: 1200
        }
    }
    Text {
        id: label

        color: Theme.secondaryText
        font.pixelSize: 13
    }
}
