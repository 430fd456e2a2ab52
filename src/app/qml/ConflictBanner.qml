import QtQuick
import Tallyrig

// Why the settings were not applied.
Rectangle {
    id: banner

    required property string text

    implicitHeight: label.implicitHeight + 16
    radius: Theme.controlRadius
    color: Theme.warningAmber
    Accessible.role: Accessible.AlertMessage
    Accessible.name: text

    AppIcon {
        id: icon

        x: 10
        anchors.verticalCenter: parent.verticalCenter
        name: "warning-triangle"
        size: 16
        color: "black"
    }
    Text {
        id: label

        objectName: "conflictText"
        anchors { left: icon.right; leftMargin: 10; right: parent.right; rightMargin: 10 }
        anchors.verticalCenter: parent.verticalCenter
        text: banner.text
        textFormat: Text.PlainText
        color: "black"
        font.pixelSize: 12
        wrapMode: Text.Wrap
    }
}
