import QtQuick
import Tallyrig

// A card's last line: what it is, what it re-emits, how it is doing, and the button that drives its output. On a card
// too narrow for all of it, whatever its state, the button has a line of its own.
Item {
    id: footer

    required property ReaderInstance reader
    required property string statusText
    required property color statusColor
    // Of a jammed card: 0 to 1 and back.
    required property real pulse

    readonly property string hex: reader.backgroundColorHex
    readonly property bool isGenerator: reader.cardRole === "Generator"
    readonly property bool hasAction: isGenerator || reader.outputProtocol !== "Disabled"
    readonly property real room: width - 2 * Theme.cardPadding
    readonly property bool isStacked: hasAction && chips.width + 8 + 10 + 6 + Math.ceil(longestStatus.advanceWidth) + 8
                                                   + action.width > room

    readonly property int lineHeight: 20

    // As high without a button as with one, so that the cards of a row end in one line.
    implicitHeight: 8 + lineHeight + (isStacked ? 6 + lineHeight : 0) + 8

    TextMetrics {
        id: longestStatus

        font: status.font
        text: footer.isGenerator ? "GENERATING" : "FREEWHEELING"
    }
    Row {
        id: line

        x: Theme.cardPadding
        y: 8
        height: footer.lineHeight
        spacing: 8

        Row {
            id: chips

            anchors.verticalCenter: parent.verticalCenter
            spacing: 8

            Chip {
                objectName: "roleChip"
                text: footer.isGenerator ? "GEN" : footer.reader.sourceType
                textColor: CardColours.text(footer.hex, 0.7, 0.1)
                color: CardColours.foreground(footer.hex, 0.1)
            }
            Loader {
                active: !footer.isGenerator && footer.reader.outputProtocol !== "Disabled"
                visible: active

                sourceComponent: Chip {
                    objectName: "outputChip"
                    text: "→ " + footer.reader.outputProtocol
                    textColor: CardColours.text(footer.hex, 0.7, 0.1)
                    color: CardColours.foreground(footer.hex, 0.1)
                }
            }
        }
        Row {
            height: parent.height
            spacing: 6

            Rectangle {
                objectName: "lamp"
                anchors.verticalCenter: parent.verticalCenter
                width: 10
                height: 10
                radius: 5
                color: footer.statusColor
                opacity: footer.reader.isJammed ? 0.4 + 0.6 * footer.pulse : 1
            }
            Text {
                id: status

                objectName: "statusText"
                height: parent.height
                verticalAlignment: Text.AlignVCenter
                text: footer.statusText
                color: CardColours.text(footer.hex, 0.85)
                font.pixelSize: Theme.chipSize
                font.weight: Font.Bold
            }
        }
    }
    Loader {
        id: action

        anchors { right: parent.right; rightMargin: Theme.cardPadding }
        y: line.y + (footer.isStacked ? footer.lineHeight + 6 : 0) - 2
        active: footer.hasAction
        sourceComponent: footer.isGenerator ? start : jam
    }
    Component {
        id: start

        TileActionButton {
            objectName: "startButton"
            symbol: footer.reader.isGeneratorRunning ? "stop" : "play"
            text: footer.reader.isGeneratorRunning ? "STOP" : "START"
            longestText: "START"
            labelColor: CardColours.text(footer.hex, 0.85, 0.12)
            fill: CardColours.foreground(footer.hex, 0.12)
            focusColor: CardColours.foreground(footer.hex, 1)
            onClicked: footer.reader.toggleGenerator()
        }
    }
    Component {
        id: jam

        TileActionButton {
            readonly property bool isJammed: footer.reader.isJammed

            objectName: "jamButton"
            symbol: isJammed ? "lock" : "lock-open"
            text: isJammed ? "STOP JAM" : "JAM SYNC"
            longestText: "JAM SYNC"
            labelColor: isJammed ? "white" : CardColours.text(footer.hex, 0.8, 0.12)
            fill: isJammed ? CardColours.plateForWhite(footer.hex, Theme.jamOrange, 0.5)
                           : CardColours.foreground(footer.hex, 0.12)
            focusColor: CardColours.foreground(footer.hex, 1)
            opacity: isJammed ? 0.35 + 0.65 * footer.pulse : 1
            onClicked: if (isJammed) footer.reader.disableJam(); else footer.reader.enableJam()
        }
    }
}
