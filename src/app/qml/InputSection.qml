import QtQuick
import QtQuick.Layouts
import Tallyrig

// Where a reader card takes its timecode from.
ColumnLayout {
    id: section

    required property ReaderSettingsForm form

    spacing: 10

    SectionLabel { text: "Input" }
    FormRow {
        label: "Source"

        SegmentedChoice {
            objectName: "source"
            accessibleName: "Source"
            choices: ["LTC", "MTC"]
            current: section.form.sourceType
            onChosen: choice => section.form.sourceType = choice
        }
    }
    FormRow {
        label: "Device"
        visible: section.form.sourceType === "LTC"

        EmptyListText {
            objectName: "noDevices"
            visible: section.form.availableDevices.length === 0
            text: "No audio input devices found."
        }
        AppMenu {
            objectName: "device"
            visible: section.form.availableDevices.length > 0
            Layout.fillWidth: true
            accessibleName: "Audio device"
            model: ["No device"].concat(section.form.availableDevices)
            currentIndex: section.form.deviceIndex + 1
            onActivated: index => section.form.deviceIndex = index - 1
        }
    }
    FormRow {
        label: "Channel"
        visible: section.form.sourceType === "LTC"

        ChannelMenu {
            objectName: "channel"
            Layout.fillWidth: true
            accessibleName: "Channel"
            channels: section.form.channelCount
            selected: section.form.selectedChannel
            onChosen: channel => section.form.selectedChannel = channel
        }
    }
    FormRow {
        label: "Display offset"
        visible: section.form.sourceType === "LTC"

        OffsetStepper {
            text: section.form.offsetText
            accessibleName: "Display offset"
            onStepped: by => section.form.changeOffset(by)
        }
    }
    FormRow {
        label: "MIDI Source"
        visible: section.form.sourceType === "MTC"

        EmptyListText {
            objectName: "noSources"
            visible: section.form.availableSources.length === 0
            text: "No MIDI sources found."
        }
        AppMenu {
            objectName: "midiSource"
            visible: section.form.availableSources.length > 0
            Layout.fillWidth: true
            accessibleName: "MIDI Source"
            model: ["No source"].concat(section.form.availableSources)
            currentIndex: section.form.sourceIndex + 1
            onActivated: index => section.form.sourceIndex = index - 1
        }
    }
}
