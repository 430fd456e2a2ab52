import QtQuick
import Tallyrig

// The lower lines of a full card: the warning if there is one, the meter, and where the code comes from.
Column {
    id: details

    required property ReaderInstance reader
    required property bool inSight

    readonly property string hex: reader.backgroundColorHex
    readonly property string warning: reader.sourceAvailabilityWarning
    readonly property bool isGenerator: reader.cardRole === "Generator"
    readonly property string sourceLine: {
        if (isGenerator) {
            if (reader.outputProtocol === "Disabled") return "No output"
            return reader.outputProtocol === "MTC" ? "MIDI Timecode" : reader.selectedOutputDeviceName || "No output device"
        }
        if (reader.sourceType === "MTC") return reader.selectedMIDISourceName || "No MIDI source"
        return reader.selectedDeviceName || "No device"
    }
    readonly property string targetLine: {
        if (isGenerator) {
            if (reader.outputProtocol === "Disabled") return "Output disabled"
            return reader.outputProtocol === "MTC" ? reader.selectedMIDIDestinationName || "No MIDI destination"
                                                   : "Output channel " + (reader.selectedOutputChannel + 1)
        }
        return reader.sourceType === "MTC" ? "MIDI Timecode" : "Channel " + (reader.selectedChannel + 1)
    }

    leftPadding: Theme.cardPadding
    rightPadding: Theme.cardPadding
    topPadding: 8
    bottomPadding: 8
    spacing: 3

    Loader {
        active: details.warning !== ""
        visible: active
        width: details.width - 2 * Theme.cardPadding

        sourceComponent: Rectangle {
            objectName: "warningRow"
            implicitHeight: warningText.implicitHeight + 4
            radius: 4
            color: Theme.warningPlate
            Accessible.role: Accessible.AlertMessage
            Accessible.name: details.warning

            AppIcon {
                id: warningIcon

                anchors.baseline: warningText.baseline
                anchors.baselineOffset: -10
                x: 5
                name: "warning-triangle"
                size: 11
                color: Theme.warningAmber
            }
            Text {
                id: warningText

                objectName: "warningText"
                anchors { left: warningIcon.right; leftMargin: 5; right: parent.right; rightMargin: 5 }
                anchors.verticalCenter: parent.verticalCenter
                text: details.warning
                textFormat: Text.PlainText
                color: Theme.warningAmber
                font.pixelSize: Theme.captionSize
                wrapMode: Text.Wrap
                maximumLineCount: 3
                elide: Text.ElideRight
            }
        }
    }
    Item {
        width: details.width - 2 * Theme.cardPadding
        height: 6

        Loader {
            anchors.fill: parent
            visible: details.inSight
            active: !details.isGenerator && details.reader.sourceType === "LTC"

            sourceComponent: LevelMeterView {
                objectName: "meter"
                reader: details.reader
                Accessible.role: Accessible.Indicator
                Accessible.name: "Input level"
            }
        }
    }
    Text {
        objectName: "sourceLine"
        visible: details.warning === ""
        width: details.width - 2 * Theme.cardPadding
        text: details.sourceLine
        textFormat: Text.PlainText
        color: CardColours.text(details.hex, 0.65)
        font.pixelSize: Theme.captionSize
        elide: Text.ElideRight
    }
    Text {
        objectName: "targetLine"
        width: details.width - 2 * Theme.cardPadding
        text: details.targetLine
        textFormat: Text.PlainText
        color: CardColours.text(details.hex, 0.4)
        font.pixelSize: Theme.captionSize
        elide: Text.ElideRight
    }
}
