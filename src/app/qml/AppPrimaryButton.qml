import QtQuick
import QtQuick.Templates as T
import Tallyrig

// The one button of a panel that does what the panel is for.
T.Button {
    id: control

    property color fill: Theme.accent
    property int cornerRadius: 8

    implicitWidth: contentItem.implicitWidth + leftPadding + rightPadding
    implicitHeight: contentItem.implicitHeight + topPadding + bottomPadding
    horizontalPadding: 14
    verticalPadding: 7
    scale: pressed ? 0.985 : 1
    font.family: Theme.fontFamily
    font.pixelSize: Theme.buttonSize
    font.weight: Font.DemiBold
    Accessible.name: text

    contentItem: AccentText {
        onAccent: true
        text: control.text
        font: control.font
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
    }
    background: Rectangle {
        radius: control.cornerRadius
        color: Qt.rgba(control.fill.r, control.fill.g, control.fill.b,
                       control.enabled ? (control.pressed ? 0.82 : 1) : 0.38)

        FocusRing {
            control: control
            radius: control.cornerRadius + 3
        }
    }
}
