import QtQuick
import Tallyrig

// What the window shows while there are no cards.
Item {
    Accessible.role: Accessible.StaticText
    Accessible.name: "No Readers"

    Column {
        anchors.centerIn: parent
        spacing: 24

        AppIcon {
            anchors.horizontalCenter: parent.horizontalCenter
            name: "clock-question"
            size: 48
            color: Theme.secondaryText
        }
        Text {
            anchors.horizontalCenter: parent.horizontalCenter
            text: "No Readers"
            color: Theme.text
            font.pixelSize: 18
        }
    }
}
