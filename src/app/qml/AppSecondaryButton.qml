import QtQuick
import QtQuick.Templates as T
import Tallyrig

// A button beside the chief one.
T.Button {
    id: control

    property color textColor: Theme.text
    property string symbol
    readonly property color labelColor: enabled ? textColor : Theme.hairline

    implicitWidth: Math.max(72, contentItem.implicitWidth + leftPadding + rightPadding)
    implicitHeight: contentItem.implicitHeight + topPadding + bottomPadding
    horizontalPadding: 13
    verticalPadding: 6
    hoverEnabled: true
    font.family: Theme.fontFamily
    font.pixelSize: Theme.buttonSize
    Accessible.name: text

    contentItem: Item {
        implicitWidth: label.implicitWidth + (control.symbol ? 20 : 0)
        implicitHeight: label.implicitHeight

        Row {
            anchors.centerIn: parent
            spacing: 6

            Loader {
                anchors.verticalCenter: parent.verticalCenter
                active: control.symbol !== ""
                visible: active
                sourceComponent: AppIcon {
                    name: control.symbol
                    size: 14
                    color: label.color
                }
            }
            Text {
                id: label

                text: control.text
                font: control.font
                color: control.labelColor
            }
        }
    }
    background: Rectangle {
        radius: 8
        color: control.pressed ? Theme.selectionFill : control.hovered ? Theme.fill(0.06) : Theme.panel
        border.color: Theme.hairline

        FocusRing {
            control: control
            radius: 11
        }
    }
}
