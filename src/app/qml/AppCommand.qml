import QtQuick
import QtQuick.Templates as T
import Tallyrig

// One command of a menu. `keys` says which keys do the same.
T.MenuItem {
    id: item

    property string keys

    objectName: "command"
    width: ListView.view ? ListView.view.width : implicitWidth
    implicitHeight: 28
    leftPadding: 10
    rightPadding: 10
    Accessible.name: text
    Accessible.description: keys

    contentItem: Item {
        AccentText {
            anchors { left: parent.left; right: hint.left; rightMargin: 12; verticalCenter: parent.verticalCenter }
            onAccent: item.highlighted
            text: item.text
            opacity: item.enabled ? 1 : 0.4
            font.family: Theme.fontFamily
            font.pixelSize: Theme.buttonSize
            elide: Text.ElideRight
        }
        AccentText {
            id: hint

            anchors { right: parent.right; verticalCenter: parent.verticalCenter }
            onAccent: item.highlighted
            plainColor: Theme.secondaryText
            text: item.keys
            font.family: Theme.fontFamily
            font.pixelSize: Theme.captionSize
        }
    }
    background: Rectangle {
        radius: 5
        color: item.highlighted ? Theme.accent : "transparent"
    }
}
