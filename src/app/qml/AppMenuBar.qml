import QtQuick
import QtQuick.Templates as T
import Tallyrig

// The application's menus, one after the other. F10 or Alt with a menu's letter leads here.
T.MenuBar {
    id: bar

    implicitWidth: contentItem.implicitWidth
    implicitHeight: Theme.controlHeight
    Accessible.name: "Menus"

    Shortcut {
        sequence: "F10"
        enabled: bar.visible && bar.count > 0
        onActivated: bar.itemAt(0).triggered()
    }

    contentItem: Row {
        spacing: 2

        Repeater {
            model: bar.contentModel
        }
    }
    delegate: T.MenuBarItem {
        id: entry

        objectName: "menuBar" + text
        implicitWidth: label.implicitWidth + 18
        implicitHeight: Theme.controlHeight
        Accessible.name: text

        Shortcut {
            sequence: entry.text ? "Alt+" + entry.text[0] : ""
            enabled: bar.visible
            onActivated: entry.triggered()
        }
        contentItem: Text {
            id: label

            text: entry.text
            color: Theme.text
            font.family: Theme.fontFamily
            font.pixelSize: Theme.buttonSize
            horizontalAlignment: Text.AlignHCenter
            verticalAlignment: Text.AlignVCenter
        }
        background: Rectangle {
            radius: Theme.controlRadius
            color: Theme.fill(entry.pressed || entry.highlighted ? 0.13 : entry.hovered ? 0.08 : 0)

            FocusRing { control: entry }
        }
    }
}
