import QtQuick
import Tallyrig

// A short word on a small plate.
Rectangle {
    property alias text: label.text
    property alias textColor: label.color
    // Left and right of the word.
    property int padding: 7

    implicitWidth: label.implicitWidth + 2 * padding
    implicitHeight: label.implicitHeight + 6
    radius: 5

    Text {
        id: label

        anchors.centerIn: parent
        font.pixelSize: Theme.chipSize
        font.weight: Font.Bold
    }
}
