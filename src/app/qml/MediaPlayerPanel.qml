import QtQuick
import QtQuick.Layouts
import Tallyrig

// Beside the picture: the timecode, what has been found of it, a jump, the output device and the routing.
Rectangle {
    id: panel

    required property FileMediaPlayer workflow
    // A timecode has been entered; the keyboard is free for the clip again.
    signal jumped()

    color: Theme.panel

    ColumnLayout {
        anchors { fill: parent; margins: 16 }
        spacing: 10

        Text {
            objectName: "runningTimecode"
            Layout.alignment: Qt.AlignHCenter
            text: panel.workflow.timecodeText
            color: Theme.text
            font { family: Theme.monospacedFamily; pixelSize: 36 }
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        MediaSummary {
            Layout.fillWidth: true
            workflow: panel.workflow
        }
        RowLayout {
            spacing: 8

            AppTextField {
                id: jumpField

                objectName: "jumpField"
                Layout.fillWidth: true
                placeholderText: "HH:MM:SS:FF"
                text: panel.workflow.jumpTimecodeText
                Accessible.name: "Jump to timecode"
                Accessible.description: jumpHelp.text
                onTextEdited: panel.workflow.jumpTimecodeText = text
                onAccepted: {
                    panel.workflow.jumpToTimecode()
                    panel.jumped()
                }

                HoverToolTip {
                    id: jumpHelp

                    hovered: jumpHover.hovered
                    text: "Enter a timecode in the detected file timecode range"
                }
                HoverHandler { id: jumpHover }
            }
            AppSecondaryButton {
                objectName: "jumpButton"
                text: "Jump To"
                focusPolicy: Qt.TabFocus
                onClicked: {
                    panel.workflow.jumpToTimecode()
                    panel.jumped()
                }
            }
        }
        SectionLabel { text: "Output Device" }
        RowLayout {
            spacing: 8

            AppMenu {
                objectName: "outputMenu"
                Layout.fillWidth: true
                accessibleName: "Output Device"
                model: panel.workflow.outputNames
                currentIndex: panel.workflow.outputIndex
                displayText: currentIndex < 0 ? "The chosen device is away" : currentText
                onActivated: index => panel.workflow.outputIndex = index
            }
            AppIconButton {
                objectName: "refreshButton"
                symbol: "refresh"
                text: "Refresh"
                toolTip: "Refresh audio devices"
                onClicked: panel.workflow.refreshOutputDevices()
            }
        }
        Text {
            objectName: "routingError"
            Layout.fillWidth: true
            visible: text !== ""
            text: panel.workflow.audioRoutingError
            textFormat: Text.PlainText
            wrapMode: Text.Wrap
            color: Theme.destructive
            font { family: Theme.fontFamily; pixelSize: Theme.captionSize }
        }
        SectionLabel { text: "Channel Routing" }
        MediaRoutingTable {
            Layout.fillWidth: true
            Layout.fillHeight: true
            workflow: panel.workflow
        }
    }
}
