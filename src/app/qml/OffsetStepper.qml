import QtQuick
import QtQuick.Templates as T
import Tallyrig

// A value between a minus and a plus button. On either of them the arrow keys move it too.
Row {
    id: stepper

    required property string text
    property string accessibleName

    signal stepped(int by)

    spacing: 4
    Accessible.role: Accessible.Grouping
    Accessible.name: accessibleName
    Keys.onUpPressed: stepped(1)
    Keys.onDownPressed: stepped(-1)

    component StepButton: T.AbstractButton {
        id: button

        required property string symbol

        anchors.verticalCenter: parent.verticalCenter
        width: 22
        height: 18
        autoRepeat: true
        focusPolicy: Qt.StrongFocus
        Accessible.name: text
        Accessible.description: stepper.text

        contentItem: Item {
            AppIcon {
                anchors.centerIn: parent
                name: button.symbol
                size: 11
                color: Theme.text
            }
        }
        background: Rectangle {
            radius: Theme.controlRadius
            color: Theme.fill(button.pressed ? 0.2 : 0.08)

            FocusRing { control: button }
        }
    }

    StepButton {
        objectName: "offsetMinus"
        symbol: "minus"
        text: "Decrease display offset"
        onClicked: stepper.stepped(-1)
    }
    Text {
        objectName: "offsetText"
        width: 84
        height: Theme.controlHeight
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        text: stepper.text
        color: Theme.text
        font.pixelSize: Theme.buttonSize
    }
    StepButton {
        objectName: "offsetPlus"
        symbol: "plus"
        text: "Increase display offset"
        onClicked: stepper.stepped(1)
    }
}
