import QtQuick
import Tallyrig

// A text for the user with its symbol. Takes no room while there is nothing to say.
Item {
    id: line

    property string text
    property string symbol: "warning-triangle"
    property color color: Theme.destructive

    visible: text !== ""
    implicitHeight: Math.max(16, label.implicitHeight)
    Accessible.role: Accessible.AlertMessage
    Accessible.name: text

    AppIcon {
        id: icon

        y: 1
        name: line.symbol
        size: 14
        color: line.color
    }
    Text {
        id: label

        objectName: "text"
        anchors { left: icon.right; leftMargin: 8; right: parent.right }
        text: line.text
        textFormat: Text.PlainText
        color: line.color
        font.pixelSize: 13
        wrapMode: Text.Wrap
    }
}
