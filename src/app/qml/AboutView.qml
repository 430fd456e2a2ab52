import QtQuick
import Tallyrig

// What this program is, and which one of them.
UtilityWindow {
    id: about

    objectName: "aboutWindow"
    title: "About Tallyrig"
    width: 390
    height: 360

    Column {
        x: 24
        width: parent.width - 48
        anchors.verticalCenter: parent.verticalCenter
        spacing: 10

        Rectangle {
            anchors.horizontalCenter: parent.horizontalCenter
            width: 48
            height: 48
            radius: 12
            color: Theme.accent

            AppIcon {
                anchors.centerIn: parent
                name: "clock-check"
                size: 24
                color: "white"
            }
        }
        Text {
            anchors.horizontalCenter: parent.horizontalCenter
            text: "Tallyrig"
            color: Theme.text
            font.pixelSize: 19
            font.weight: Font.DemiBold
        }
        Text {
            objectName: "purpose"
            anchors.horizontalCenter: parent.horizontalCenter
            bottomPadding: 10
            text: "Professional timecode tools for Linux"
            color: Theme.secondaryText
            font.pixelSize: Theme.buttonSize
        }
        Rectangle {
            width: parent.width
            height: rows.height + 32
            radius: 12
            color: Theme.panel
            border.color: Theme.hairline

            Column {
                id: rows

                x: 16
                y: 16
                width: parent.width - 32
                spacing: 10

                Repeater {
                    model: [
                        ["Version", about.app.version],
                        ["Build", about.app.build],
                        ["Protocols", "LTC · MTC"],
                        ["LTC Engine", "libltc"]
                    ]

                    Item {
                        required property var modelData

                        width: rows.width
                        height: name.implicitHeight
                        Accessible.role: Accessible.StaticText
                        Accessible.name: modelData[0] + ": " + modelData[1]

                        Text {
                            id: name

                            text: parent.modelData[0]
                            color: Theme.secondaryText
                            font.pixelSize: Theme.buttonSize
                        }
                        Text {
                            objectName: "about" + parent.modelData[0]
                            anchors.right: parent.right
                            text: parent.modelData[1]
                            color: Theme.text
                            font.pixelSize: Theme.buttonSize
                        }
                    }
                }
            }
        }
    }
}
