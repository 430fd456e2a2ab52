import QtQuick
import QtQuick.Layouts
import Tallyrig

// What a card emits, and where to.
ColumnLayout {
    id: section

    required property OutputSettings output
    required property bool isGenerator

    readonly property bool isLTC: output.outputProtocol === "LTC"
    readonly property bool isMTC: output.outputProtocol === "MTC"

    spacing: 10

    SectionLabel { text: "Output" }
    FormRow {
        label: "Protocol"

        SegmentedChoice {
            objectName: "outputProtocol"
            accessibleName: "Output protocol"
            segmentWidth: 84
            choices: ["Disabled", "LTC", "MTC"]
            current: section.output.outputProtocol
            onChosen: choice => section.output.outputProtocol = choice
        }
    }
    FormRow {
        label: "Rate"
        visible: section.isLTC || section.isMTC

        AppMenu {
            objectName: "outputRate"
            Layout.fillWidth: true
            accessibleName: "Frame Rate"
            model: section.isGenerator ? section.output.generatorRates : section.output.readerRates
            currentIndex: section.isGenerator ? section.output.generatorRateIndex : section.output.readerRateIndex
            displayText: model[currentIndex]
            onActivated: index => {
                if (section.isGenerator) section.output.generatorRateIndex = index
                else section.output.readerRateIndex = index
            }
        }
    }
    FormRow {
        label: "Device"
        visible: section.isLTC

        EmptyListText {
            objectName: "noOutputDevices"
            visible: section.output.availableDevices.length === 0
            text: "No audio output devices found."
        }
        AppMenu {
            objectName: "outputDevice"
            visible: section.output.availableDevices.length > 0
            Layout.fillWidth: true
            accessibleName: "Output Device"
            model: ["No device"].concat(section.output.availableDevices)
            currentIndex: section.output.deviceIndex + 1
            onActivated: index => section.output.deviceIndex = index - 1
        }
    }
    FormRow {
        label: "Channel"
        visible: section.isLTC

        ChannelMenu {
            objectName: "outputChannel"
            Layout.fillWidth: true
            accessibleName: "Output Channel"
            channels: section.output.channelCount
            selected: section.output.selectedChannel
            onChosen: channel => section.output.selectedChannel = channel
        }
    }
    FormRow {
        label: "Level"
        visible: section.isLTC

        AppSlider {
            objectName: "level"
            Layout.fillWidth: true
            Layout.preferredHeight: Theme.controlHeight
            from: -30
            to: 0
            stepSize: 1
            value: section.output.level
            Accessible.name: "Level"
            Accessible.description: levelText.text
            onMoved: section.output.level = Math.round(value)
        }
        Text {
            id: levelText

            objectName: "levelText"
            Layout.preferredWidth: 72
            horizontalAlignment: Text.AlignRight
            text: section.output.level + " dBFS"
            color: Theme.text
            font.pixelSize: Theme.buttonSize
        }
    }
    FormRow {
        label: "Destination"
        visible: section.isMTC

        EmptyListText {
            objectName: "noDestinations"
            visible: section.output.availableDestinations.length === 0
            text: "No MIDI destinations found."
        }
        AppMenu {
            objectName: "destination"
            visible: section.output.availableDestinations.length > 0
            Layout.fillWidth: true
            accessibleName: "Destination"
            model: ["No destination"].concat(section.output.availableDestinations)
            currentIndex: section.output.destinationIndex + 1
            onActivated: index => section.output.destinationIndex = index - 1
        }
    }
}
