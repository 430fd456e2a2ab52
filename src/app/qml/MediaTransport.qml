import QtQuick
import QtQuick.Layouts
import Tallyrig

// The time line of a clip, and what moves along it. A click on a button leaves the keyboard where it is, so that Space
// goes on to play and pause.
Rectangle {
    id: control

    required property FileMediaPlayer workflow

    implicitHeight: column.implicitHeight + 24
    color: Theme.bar
    enabled: workflow.hasClip

    ColumnLayout {
        id: column

        anchors { fill: parent; margins: 12 }
        spacing: 8

        AppSlider {
            id: slider

            objectName: "scrubSlider"
            Layout.fillWidth: true
            from: 0
            to: Math.max(control.workflow.effectiveDuration, 0.001)
            focusPolicy: Qt.NoFocus
            Accessible.name: "Position"
            onMoved: control.workflow.scrub(value)
            onPressedChanged: if (!pressed) control.workflow.commitScrub()

            Binding on value {
                when: !slider.pressed
                value: control.workflow.shownPosition
                restoreMode: Binding.RestoreNone
            }
        }
        RowLayout {
            spacing: 8

            AppIconButton {
                objectName: "backButton"
                focusPolicy: Qt.TabFocus
                symbol: "skip-back"
                symbolSize: 14
                text: "Back 5 seconds"
                toolTip: text
                onClicked: control.workflow.skip(-5)
            }
            AppIconButton {
                objectName: "playButton"
                focusPolicy: Qt.TabFocus
                symbol: control.workflow.isPlaying ? "pause" : "play"
                symbolSize: 16
                text: control.workflow.isPlaying ? "Pause" : "Play"
                toolTip: text
                onClicked: control.workflow.togglePlayback()
            }
            AppIconButton {
                objectName: "forwardButton"
                focusPolicy: Qt.TabFocus
                symbol: "skip-forward"
                symbolSize: 14
                text: "Forward 5 seconds"
                toolTip: text
                onClicked: control.workflow.skip(5)
            }
            Text {
                objectName: "positionLine"
                Layout.leftMargin: 8
                text: control.workflow.positionLine
                color: Theme.text
                font { family: Theme.monospacedFamily; pixelSize: Theme.buttonSize }
            }
            Text {
                objectName: "clipName"
                Layout.fillWidth: true
                horizontalAlignment: Text.AlignRight
                text: control.workflow.hasClip ? control.workflow.clipName : "No clip loaded"
                textFormat: Text.PlainText
                elide: Text.ElideMiddle
                color: Theme.secondaryText
                font { family: Theme.fontFamily; pixelSize: Theme.buttonSize }
            }
            AppIconButton {
                objectName: "ejectButton"
                focusPolicy: Qt.TabFocus
                symbol: "eject"
                symbolSize: 14
                text: "Eject clip"
                toolTip: text
                onClicked: control.workflow.ejectClip()
            }
        }
    }
}
