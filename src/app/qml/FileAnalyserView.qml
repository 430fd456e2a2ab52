import QtQuick
import QtQuick.Dialogs
import QtQuick.Layouts
import QtQuick.Templates as T
import Tallyrig

// The contents of the File Analyser window.
FocusScope {
    id: view

    required property FileTools tools
    readonly property FileAnalyser analyser: tools.openFileAnalyser()
    readonly property size minimumSize: Qt.size(480, 420)

    Component.onDestruction: analyser.destroy()

    FileDialog {
        id: panel

        title: "Choose a File"
        fileMode: FileDialog.OpenFile
        nameFilters: view.analyser.fileFilters
        onAccepted: view.analyser.loadDropped([selectedFile])
    }
    Flickable {
        anchors.fill: parent
        contentWidth: width
        contentHeight: rows.implicitHeight + 48
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        T.ScrollBar.vertical: AppScrollBar {}

        ColumnLayout {
            id: rows

            x: 24
            y: 24
            width: parent.width - 48
            spacing: 14

            FileDropArea {
                objectName: "dropArea"
                focus: true
                Layout.fillWidth: true
                fileName: view.analyser.fileName
                prompt: "Drop a WAV, AIFF, MP3, MOV, or MP4 file here"
                isTargeted: view.analyser.isTargeted
                take: urls => view.analyser.loadDropped(urls)
                onHovered: isHovering => view.analyser.isTargeted = isHovering
                onBrowsed: panel.open()
            }
            BusyLine {
                objectName: "analysing"
                visible: view.analyser.isAnalysing
                text: "Analysing..."
            }
            BusyLine {
                objectName: "writing"
                visible: view.analyser.isWritingTimecode
                text: "Writing timecode..."
            }
            ChannelChoice {
                objectName: "channels"
                visible: view.analyser.fileChannelCount > 0
                Layout.fillWidth: true
                analyser: view.analyser
            }
            ColumnLayout {
                visible: view.analyser.hasResult
                spacing: 8
                Layout.fillWidth: true

                SectionLabel { text: "Result" }
                ResultRow {
                    objectName: "duration"
                    label: "Duration"
                    value: view.analyser.durationText
                }
                ResultRow {
                    objectName: "start"
                    label: "LTC at file start"
                    value: view.analyser.startText
                    detail: view.analyser.startDetail
                    isTimecode: true
                }
                ResultRow {
                    objectName: "metadata"
                    label: "Metadata timecode"
                    value: view.analyser.metadataText
                    isTimecode: true
                }
                SectionLabel {
                    visible: probes.count > 0
                    text: "Probe points"
                }
                Repeater {
                    id: probes

                    model: view.analyser.probeRows
                    delegate: ResultRow {
                        required property var modelData

                        objectName: "probe"
                        label: modelData.time
                        value: modelData.text
                        isTimecode: true
                    }
                }
            }
            RowLayout {
                visible: view.analyser.hasFile
                spacing: 10

                AppSecondaryButton {
                    objectName: "reAnalyse"
                    text: "Re-analyse"
                    onClicked: view.analyser.startAnalysis()
                }
                AppPrimaryButton {
                    id: write

                    objectName: "writeMetadata"
                    visible: view.analyser.offersWriting
                    enabled: view.analyser.canWriteTimecode
                    text: "Write Metadata"
                    Accessible.description: view.analyser.writeHelp
                    onClicked: view.analyser.startWrite()

                    // A disabled button hears of no pointer; the reason why it is disabled must be readable all the same.
                    HoverToolTip {
                        hovered: writeHover.hovered
                        text: view.analyser.writeHelp
                    }
                }
                HoverHandler {
                    id: writeHover

                    target: write
                    parent: write.parent
                    enabled: write.visible
                }
            }
            MessageLine {
                objectName: "error"
                Layout.fillWidth: true
                text: view.analyser.errorMessage
            }
            MessageLine {
                objectName: "success"
                Layout.fillWidth: true
                symbol: "checkmark-circle"
                color: Theme.accent
                text: view.analyser.writeSuccessMessage
            }
        }
    }
}
