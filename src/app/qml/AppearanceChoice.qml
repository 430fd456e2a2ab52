import QtQuick
import QtQuick.Templates as T
import Tallyrig

// Whether the program is light, dark, or as the desktop is.
FocusScope {
    id: control

    required property ReaderStore store

    implicitHeight: 56
    Accessible.role: Accessible.Grouping
    Accessible.name: "Appearance"

    Row {
        spacing: 8

        Repeater {
            id: choices

            model: [
                { text: "System", symbol: "circle-half" },
                { text: "Light", symbol: "sun" },
                { text: "Dark", symbol: "moon" }
            ]

            T.AbstractButton {
                id: choice

                required property var modelData
                required property int index
                readonly property bool isCurrent: text === control.store.appearanceOverride
                readonly property color ink: isCurrent ? "white" : Theme.secondaryText

                function move(step: int) {
                    const next = choices.itemAt(Math.max(0, Math.min(choices.count - 1, index + step)))
                    // The one that is left must have lost the focus before it stops being a stop.
                    next.forceActiveFocus(Qt.TabFocusReason)
                    control.store.appearanceOverride = next.text
                }

                objectName: "appearance" + text
                text: modelData.text
                width: (control.width - 16) / 3
                height: control.height
                // One stop for the Tab key, the arrow keys within.
                focusPolicy: isCurrent ? Qt.StrongFocus : Qt.ClickFocus
                focus: isCurrent
                Accessible.role: Accessible.RadioButton
                Accessible.name: text
                Accessible.checkable: true
                Accessible.checked: isCurrent
                Keys.onLeftPressed: move(-1)
                Keys.onRightPressed: move(1)
                onClicked: control.store.appearanceOverride = text

                contentItem: Item {
                    Column {
                        anchors.centerIn: parent
                        spacing: 5

                        AppIcon {
                            anchors.horizontalCenter: parent.horizontalCenter
                            name: choice.modelData.symbol
                            size: 16
                            color: choice.ink
                        }
                        AccentText {
                            anchors.horizontalCenter: parent.horizontalCenter
                            onAccent: choice.isCurrent
                            plainColor: Theme.secondaryText
                            text: choice.text
                            font.pixelSize: Theme.buttonSize
                            font.weight: choice.isCurrent ? Font.DemiBold : Font.Normal
                        }
                    }
                }
                background: Rectangle {
                    radius: 12
                    color: choice.isCurrent ? Theme.accent : Theme.selectionFill
                    opacity: choice.pressed ? 0.82 : 1

                    FocusRing {
                        control: choice
                        radius: 15
                    }
                }
            }
        }
    }
}
