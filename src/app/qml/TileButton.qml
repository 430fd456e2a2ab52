import QtQuick
import QtQuick.Templates as T
import Tallyrig

// One of the small buttons in a card's corner. Reached by Tab, but draws no focus ring.
T.AbstractButton {
    id: control

    required property string symbol
    required property color symbolColor
    property int symbolSize: 12
    property color fill: "transparent"
    property string toolTip

    implicitWidth: 24
    implicitHeight: 24
    hoverEnabled: true
    Accessible.name: text
    Accessible.description: toolTip

    contentItem: Item {
        AppIcon {
            anchors.centerIn: parent
            name: control.symbol
            size: control.symbolSize
            color: control.symbolColor
        }
    }
    background: Rectangle {
        radius: 6
        color: control.fill
        opacity: control.pressed ? 0.6 : 1
    }
    HoverToolTip {
        hovered: control.hovered && !control.pressed
        text: control.toolTip
    }
}
