import QtQuick
import Tallyrig

// What follows the pointer while a card is dragged.
Rectangle {
    id: ghost

    required property ReaderInstance reader
    required property point pointer

    readonly property string hex: reader.backgroundColorHex

    objectName: "dragGhost"
    x: Math.round(pointer.x) + 14
    y: Math.round(pointer.y) + 10
    z: 10
    width: Math.min(220, label.implicitWidth + 28)
    height: 34
    radius: 10
    color: CardColours.background(hex)
    border.color: CardColours.foreground(hex, 0.5)
    opacity: 0.92

    Text {
        id: label

        anchors { fill: parent; leftMargin: 14; rightMargin: 14 }
        verticalAlignment: Text.AlignVCenter
        text: ghost.reader.label
        textFormat: Text.PlainText
        color: CardColours.foreground(ghost.hex, 1)
        font.pixelSize: Theme.cardTitleSize
        font.weight: Font.DemiBold
        elide: Text.ElideRight
    }
}
