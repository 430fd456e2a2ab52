import QtQuick
import QtQuick.Templates as T
import Tallyrig

// A value on a line, moved by mouse or arrow keys.
T.Slider {
    id: control

    implicitWidth: 160
    implicitHeight: Theme.controlHeight
    snapMode: T.Slider.SnapAlways

    background: Rectangle {
        x: control.leftPadding
        y: Math.round((control.height - height) / 2)
        width: control.availableWidth
        height: 4
        radius: 2
        color: Theme.fill(0.2)

        Rectangle {
            width: control.visualPosition * parent.width
            height: parent.height
            radius: 2
            color: Theme.accent
        }
    }
    handle: Rectangle {
        x: control.leftPadding + control.visualPosition * (control.availableWidth - width)
        y: Math.round((control.height - height) / 2)
        width: 16
        height: 16
        radius: 8
        color: control.pressed ? Qt.darker("white", 1.1) : "white"
        border.color: Theme.hairline

        FocusRing {
            control: control
            radius: 11
        }
    }
}
