import QtQuick
import QtQuick.Templates as T
import Tallyrig

// A quiet square button with a symbol, for toolbars and panels.
T.AbstractButton {
    id: control

    required property string symbol
    property int symbolSize: 12
    property string toolTip
    // What it opened stands where the explanation would.
    property bool hasOpened: false

    implicitWidth: Theme.controlHeight
    implicitHeight: Theme.controlHeight
    hoverEnabled: true
    Accessible.name: text
    Accessible.description: toolTip

    contentItem: Item {
        AppIcon {
            anchors.centerIn: parent
            name: control.symbol
            size: control.symbolSize
            color: Theme.text
            opacity: control.enabled ? 1 : 0.38
        }
    }
    background: Rectangle {
        radius: Theme.controlRadius
        color: Theme.fill(control.pressed ? 0.18 : control.hovered ? 0.13 : 0.08)

        FocusRing { control: control }
    }
    HoverToolTip {
        hovered: control.hovered && !control.pressed && !control.hasOpened
        text: control.toolTip
    }
}
