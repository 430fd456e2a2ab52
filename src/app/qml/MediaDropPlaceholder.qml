import QtQuick
import Tallyrig

// Where a file can be dropped, or chosen by a click.
FocusScope {
    id: control

    required property bool isTargeted
    signal clicked

    activeFocusOnTab: true
    Accessible.role: Accessible.Button
    Accessible.name: prompt.text
    Accessible.onPressAction: clicked()
    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()

    Rectangle {
        anchors { fill: parent; margins: 24 }
        radius: 12
        color: control.isTargeted ? Theme.selectionFill : Theme.fill(area.containsMouse ? 0.06 : 0.03)
        border { width: 1; color: control.activeFocus ? Theme.accent : Theme.hairline }

        Column {
            anchors.centerIn: parent
            spacing: 8

            Row {
                anchors.horizontalCenter: parent.horizontalCenter
                spacing: 16

                Repeater {
                    model: ["arrow-down-doc", "waveform"]

                    AppIcon {
                        required property string modelData

                        name: modelData
                        size: 40
                        color: Theme.secondaryText
                    }
                }
            }
            Text {
                id: prompt

                anchors.horizontalCenter: parent.horizontalCenter
                text: "Drop an audio or video file here"
                color: Theme.text
                font { family: Theme.fontFamily; pixelSize: 16; weight: Font.DemiBold }
            }
            Text {
                anchors.horizontalCenter: parent.horizontalCenter
                text: "or click to browse"
                color: Theme.secondaryText
                font { family: Theme.fontFamily; pixelSize: Theme.buttonSize }
            }
        }
        MouseArea {
            id: area

            anchors.fill: parent
            hoverEnabled: true
            onClicked: control.clicked()
        }
    }
}
