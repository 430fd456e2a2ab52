import QtQuick
import Tallyrig

// Where a file is dropped, or chosen by a click.
FocusScope {
    id: area

    // The file's name; empty without one.
    property string fileName
    property string prompt
    property bool isTargeted: false

    signal browsed()
    signal hovered(bool isHovering)
    // What a drop brings. `take` says whether it is taken.
    property var take: urls => false

    implicitHeight: 130
    activeFocusOnTab: true
    Accessible.role: Accessible.Button
    Accessible.name: fileName !== "" ? fileName : prompt
    Accessible.description: "or click to browse"
    Accessible.onPressAction: browsed()
    Keys.onReturnPressed: browsed()
    Keys.onSpacePressed: browsed()

    Rectangle {
        anchors.fill: parent
        radius: 12
        color: area.isTargeted ? Theme.selectionFill : Theme.panel
        border.width: area.isTargeted || area.activeFocus ? 2 : 1
        border.color: area.isTargeted || area.activeFocus ? Theme.accent : Theme.hairline
    }
    Column {
        anchors.centerIn: parent
        width: parent.width - 32
        spacing: 8

        AppIcon {
            objectName: "dropSymbol"
            anchors.horizontalCenter: parent.horizontalCenter
            name: area.fileName !== "" ? "checkmark-circle" : "arrow-down-doc"
            size: 30
            color: area.fileName !== "" ? Theme.accent : Theme.secondaryText
        }
        Text {
            objectName: "dropText"
            width: parent.width
            text: area.fileName !== "" ? area.fileName : area.prompt
            textFormat: Text.PlainText
            color: Theme.text
            font.pixelSize: 14
            font.weight: Font.DemiBold
            horizontalAlignment: Text.AlignHCenter
            elide: Text.ElideMiddle
        }
        Text {
            objectName: "dropHint"
            width: parent.width
            visible: area.fileName === ""
            text: "or click to browse"
            color: Theme.secondaryText
            font.pixelSize: 12
            horizontalAlignment: Text.AlignHCenter
        }
    }
    TapHandler { onTapped: area.browsed() }
    DropArea {
        anchors.fill: parent
        keys: ["text/uri-list"]
        onEntered: area.hovered(true)
        onExited: area.hovered(false)
        onDropped: drop => {
            area.hovered(false)
            drop.accepted = area.take(drop.urls)
        }
    }
}
