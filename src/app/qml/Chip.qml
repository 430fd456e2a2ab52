import QtQuick
import Tallyrig

// A short word on a small plate.
Rectangle {
    property alias text: label.text
    property alias textColor: label.color

    implicitWidth: label.implicitWidth + 14
    implicitHeight: label.implicitHeight + 6
    radius: 5

    Text {
        id: label

        anchors.centerIn: parent
        font.pixelSize: Theme.chipSize
        font.weight: Font.Bold
    }
}
