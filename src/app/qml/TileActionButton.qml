import QtQuick
import QtQuick.Templates as T
import Tallyrig

// The button in a card's last line that drives its output. As wide as the longer of its texts, so that it keeps its
// place when it changes. It can be hit a little above and below what it shows.
T.AbstractButton {
    id: control

    required property string symbol
    required property string longestText
    required property color labelColor
    required property color fill
    required property color focusColor

    implicitWidth: 9 + 4 + Math.ceil(longest.advanceWidth) + leftPadding + rightPadding
    implicitHeight: 24
    horizontalPadding: 9
    topInset: 2
    bottomInset: 2
    font.family: Theme.fontFamily
    font.pixelSize: Theme.chipSize
    font.weight: Font.Bold
    Accessible.name: text

    TextMetrics {
        id: longest

        font: control.font
        text: control.longestText
    }
    contentItem: Item {
        Row {
            anchors.centerIn: parent
            spacing: 4

            AppIcon {
                anchors.verticalCenter: parent.verticalCenter
                name: control.symbol
                size: 9
                color: control.labelColor
            }
            Text {
                text: control.text
                font: control.font
                color: control.labelColor
            }
        }
    }
    background: Rectangle {
        radius: 6
        color: control.fill
        opacity: control.pressed ? 0.6 : 1

        FocusRing {
            control: control
            anchors.margins: -2
            radius: 8
            border.color: control.focusColor
        }
    }
}
