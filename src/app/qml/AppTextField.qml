import QtQuick
import QtQuick.Templates as T
import Tallyrig

// One line of text to edit.
T.TextField {
    id: control

    implicitWidth: 200
    implicitHeight: Theme.controlHeight
    leftPadding: 10
    rightPadding: 10
    verticalAlignment: TextInput.AlignVCenter
    font.family: Theme.fontFamily
    font.pixelSize: Theme.buttonSize
    color: Theme.text
    selectionColor: Theme.accent
    selectedTextColor: "white"
    placeholderTextColor: Theme.secondaryText
    selectByMouse: true

    background: Rectangle {
        radius: Theme.controlRadius
        color: Theme.field
        border.width: control.activeFocus ? 2 : 1
        border.color: control.activeFocus ? Theme.accent : Theme.hairline
    }
    Text {
        anchors.fill: parent
        leftPadding: control.leftPadding
        rightPadding: control.rightPadding
        verticalAlignment: Text.AlignVCenter
        text: control.placeholderText
        color: control.placeholderTextColor
        font: control.font
        elide: Text.ElideRight
        visible: control.length === 0 && control.preeditText === ""
    }
}
