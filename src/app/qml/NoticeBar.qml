import QtQuick
import Tallyrig

// What the user must know about the whole window, across its top. Takes no room while there is nothing to say.
Rectangle {
    id: bar

    property string text

    visible: text !== ""
    implicitHeight: visible ? label.implicitHeight + 16 : 0
    color: Theme.noticeFill
    Accessible.role: Accessible.AlertMessage
    Accessible.name: text

    AppIcon {
        id: icon

        x: Theme.gridSpacing
        y: 8
        name: "warning-triangle"
        size: 14
        color: Theme.noticeText
    }
    Text {
        id: label

        anchors { left: icon.right; leftMargin: 8; right: parent.right; rightMargin: Theme.gridSpacing }
        anchors.verticalCenter: parent.verticalCenter
        text: bar.text
        color: Theme.noticeText
        font.pixelSize: 12
        wrapMode: Text.WordWrap
    }
}
