import QtQuick
import QtQuick.Templates as T
import Tallyrig

// One of the small buttons in a card's corner. Draws no focus ring: the one that has the keyboard stands out in full
// foreground, as does the one whose matter is open.
T.AbstractButton {
    id: control

    required property string symbol
    required property string hex
    property int symbolSize: 12
    property real symbolOpacity: 0.7
    property real fillOpacity: 0.12
    property bool isOn: false
    property string toolTip

    readonly property bool standsOut: visualFocus || isOn

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
            color: CardColours.foreground(control.hex, control.standsOut ? 1 : control.symbolOpacity)
        }
    }
    background: Rectangle {
        radius: 6
        color: CardColours.foreground(control.hex, control.standsOut ? 0.35 : control.fillOpacity)
        opacity: control.pressed ? 0.6 : 1
    }
    HoverToolTip {
        hovered: control.hovered && !control.pressed
        text: control.toolTip
    }
}
