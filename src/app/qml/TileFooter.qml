import QtQuick
import Tallyrig

// A card's last line: what it is, what it re-emits, and how it is doing.
Row {
    id: footer

    required property ReaderInstance reader
    required property color statusColor

    readonly property string hex: reader.backgroundColorHex
    readonly property string statusText: {
        if (reader.cardRole === "Generator") return reader.isReceiving ? "GENERATING" : "STOPPED"
        if (!reader.isReceiving) return "NO SIGNAL"
        return reader.sourceType === "MTC" ? "RECEIVING" : "LOCKED"
    }

    leftPadding: Theme.cardPadding
    rightPadding: Theme.cardPadding
    topPadding: 8
    bottomPadding: 8
    spacing: 8

    Chip {
        objectName: "roleChip"
        text: footer.reader.cardRole === "Generator" ? "GEN" : footer.reader.sourceType
        textColor: CardColours.text(footer.hex, 0.7, 0.1)
        color: CardColours.foreground(footer.hex, 0.1)
    }
    Loader {
        active: footer.reader.cardRole !== "Generator" && footer.reader.outputProtocol !== "Disabled"
        visible: active

        sourceComponent: Chip {
            objectName: "outputChip"
            text: "→ " + footer.reader.outputProtocol
            textColor: CardColours.text(footer.hex, 0.7, 0.1)
            color: CardColours.foreground(footer.hex, 0.1)
        }
    }
    Rectangle {
        objectName: "lamp"
        anchors.verticalCenter: parent.verticalCenter
        width: 10
        height: 10
        radius: 5
        color: footer.statusColor
    }
    Text {
        objectName: "statusText"
        height: footer.height - footer.topPadding - footer.bottomPadding
        verticalAlignment: Text.AlignVCenter
        text: footer.statusText
        color: CardColours.text(footer.hex, 0.85)
        font.pixelSize: Theme.chipSize
        font.weight: Font.Bold
    }
}
