import QtQuick
import QtQuick.Layouts
import Tallyrig

// Where a generator starts: at a time that is typed, or at the time of day.
ColumnLayout {
    id: section

    required property GeneratorStartSettings start

    readonly property bool isManual: start.mode === "Manual"

    signal accepted()

    spacing: 10

    FormRow {
        label: "Mode"

        SegmentedChoice {
            objectName: "mode"
            accessibleName: "Mode"
            choices: ["Manual", "TOD"]
            current: section.isManual ? "Manual" : "TOD"
            onChosen: choice => section.start.mode = choice === "TOD" ? "Local Time" : "Manual"
        }
    }
    FormRow {
        label: "Timecode"

        AppTextField {
            objectName: "startTime"
            visible: section.isManual
            Layout.fillWidth: true
            placeholderText: "HH:MM:SS:FF"
            text: section.start.text
            Accessible.name: "Timecode"
            onTextEdited: section.start.text = text
            onEditingFinished: section.start.settleText()
            onAccepted: section.accepted()
        }
        AppTextField {
            objectName: "timeOfDay"
            visible: !section.isManual
            Layout.fillWidth: true
            readOnly: true
            text: section.start.timeOfDayText
            font.family: Theme.monospacedFamily
            font.pixelSize: 15
            font.weight: Font.Medium
            Accessible.name: "Timecode"
            Accessible.readOnly: true
        }
    }
}
