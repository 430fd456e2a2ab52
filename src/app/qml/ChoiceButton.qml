import QtQuick
import QtQuick.Templates as T
import Tallyrig

// One of many choices that break into lines.
T.AbstractButton {
    id: control

    required property bool isChosen

    implicitWidth: Math.max(58, label.implicitWidth + 20)
    implicitHeight: Theme.controlHeight
    focusPolicy: Qt.StrongFocus
    Accessible.role: Accessible.RadioButton
    Accessible.name: text
    Accessible.checked: isChosen

    contentItem: AccentText {
        id: label

        onAccent: control.isChosen
        text: control.text
        font.pixelSize: Theme.buttonSize
        font.weight: control.isChosen ? Font.DemiBold : Font.Normal
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
    }
    background: Rectangle {
        radius: Theme.controlRadius
        color: control.isChosen ? Theme.accent : Theme.fill(control.pressed ? 0.16 : 0.08)

        FocusRing { control: control }
    }
}
