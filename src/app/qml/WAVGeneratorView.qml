import QtQuick
import QtQuick.Dialogs
import QtQuick.Layouts
import Tallyrig

// The contents of the WAV generator's window.
FocusScope {
    id: view

    required property FileTools tools
    readonly property WAVGenerator generator: tools.openWAVGenerator()
    readonly property int labelWidth: 92

    Component.onDestruction: generator.destroy()

    Connections {
        target: view.generator

        function onSavePanelRequested() {
            panel.selectedFile = panel.currentFolder + "/" + encodeURIComponent(view.generator.suggestedFileName)
            panel.open()
        }
    }
    FileDialog {
        id: panel

        title: "Save WAV File"
        fileMode: FileDialog.SaveFile
        // Where the desktop brings no panel of its own, Qt's says "Open" otherwise.
        acceptLabel: "Save"
        defaultSuffix: "wav"
        nameFilters: ["WAV audio (*.wav)"]
        currentFolder: view.generator.suggestedFolder
        // Qt's panel does not ask, and others ask before the suffix is added.
        options: FileDialog.DontConfirmOverwrite
        onAccepted: {
            if (view.generator.nameOfFileAt(selectedFile) === "")
                view.generator.save(selectedFile)
            else
                replacing.active = true
        }
    }
    Loader {
        id: replacing

        active: false
        sourceComponent: ConfirmationDialog {
            heading: "Replace “" + view.generator.nameOfFileAt(panel.selectedFile) + "”?"
            message: "A file of this name is there already. Replacing it overwrites what it holds."
            confirmText: "Replace"
            transientParent: view.Window.window
            onCancelled: {
                replacing.active = false
                panel.open()
            }
            onConfirmed: {
                replacing.active = false
                view.generator.save(panel.selectedFile)
            }
        }
    }
    ColumnLayout {
        anchors { fill: parent; margins: 20 }
        spacing: 10

        FormRow {
            labelWidth: view.labelWidth
            label: "Start Timecode"

            TimecodeFields {
                generator: view.generator
                fields: [0, 1, 2, 3]
                names: ["Hours", "Minutes", "Seconds", "Frames"]
            }
            Item { Layout.fillWidth: true }
        }
        FormRow {
            labelWidth: view.labelWidth
            label: "Duration"

            TimecodeFields {
                generator: view.generator
                fields: [4, 5]
                names: ["Duration, minutes", "Duration, seconds"]
            }
            Item { Layout.fillWidth: true }
        }
        FormRow {
            labelWidth: view.labelWidth
            label: "Frame Rate"

            SegmentedChoice {
                objectName: "frameRate"
                accessibleName: "Frame Rate"
                segmentWidth: 0
                choices: view.generator.frameRates
                current: view.generator.frameRate
                onChosen: choice => view.generator.frameRate = choice
            }
            Item { Layout.fillWidth: true }
        }
        FormRow {
            labelWidth: view.labelWidth
            label: "Sample Rate"

            SegmentedChoice {
                objectName: "sampleRate"
                accessibleName: "Sample Rate"
                choices: ["44.1 kHz", "48 kHz"]
                current: view.generator.sampleRate === 44100 ? "44.1 kHz" : "48 kHz"
                onChosen: choice => view.generator.sampleRate = choice === "44.1 kHz" ? 44100 : 48000
            }
            Item { Layout.fillWidth: true }
        }
        FormRow {
            labelWidth: view.labelWidth
            label: "Bit Depth"

            SegmentedChoice {
                objectName: "bitDepth"
                accessibleName: "Bit Depth"
                choices: ["16-bit", "24-bit"]
                current: view.generator.bitDepth + "-bit"
                onChosen: choice => view.generator.bitDepth = parseInt(choice)
            }
            Item { Layout.fillWidth: true }
        }
        FormRow {
            labelWidth: view.labelWidth
            label: "Output Level"

            AppSlider {
                objectName: "level"
                Layout.fillWidth: true
                from: -18
                to: 0
                stepSize: 1
                value: view.generator.levelDBFS
                Accessible.name: "Output Level"
                onMoved: view.generator.levelDBFS = value
            }
            Text {
                objectName: "levelText"
                Layout.preferredWidth: 62
                horizontalAlignment: Text.AlignRight
                text: view.generator.levelText
                color: Theme.text
                font.pixelSize: 13
            }
        }
        MessageLine {
            objectName: "error"
            Layout.fillWidth: true
            text: view.generator.errorMessage
        }
        Item { Layout.fillHeight: true }
        RowLayout {
            Text {
                objectName: "sizeEstimate"
                Layout.fillWidth: true
                text: view.generator.sizeEstimate
                color: Theme.secondaryText
                font.pixelSize: 12
            }
            AppPrimaryButton {
                objectName: "generate"
                enabled: !view.generator.isGenerating
                text: view.generator.isGenerating ? "Generating…" : "Generate…"
                onClicked: view.generator.generate()
            }
        }
    }
}
