import QtQuick
import QtQuick.Templates as T
import Tallyrig

// One of a few texts, side by side. `current` is the chosen text; `chosen` asks for another.
FocusScope {
    id: control

    required property var choices
    required property string current
    // 0 gives each what its text needs.
    property int segmentWidth: 100
    property int segmentHeight: Theme.controlHeight
    property string accessibleName

    signal chosen(string choice)

    implicitWidth: row.implicitWidth
    implicitHeight: segmentHeight
    Accessible.role: Accessible.Grouping
    Accessible.name: accessibleName

    Row {
        id: row

        spacing: 6

        Repeater {
            id: segments

            model: control.choices

            T.RadioButton {
                id: segment

                required property string modelData
                required property int index
                readonly property bool isCurrent: modelData === control.current

                function move(step: int) {
                    const next = Math.max(0, Math.min(segments.count - 1, index + step))
                    // The one that is left must have lost the focus before it stops being a stop.
                    segments.itemAt(next).forceActiveFocus(Qt.TabFocusReason)
                    control.chosen(control.choices[next])
                }

                objectName: "segment" + modelData
                text: modelData
                width: control.segmentWidth || Math.max(46, Math.ceil(widest.advanceWidth) + 18)
                height: control.segmentHeight
                // One stop for the Tab key, the arrow keys within.
                focusPolicy: isCurrent ? Qt.StrongFocus : Qt.ClickFocus
                focus: isCurrent
                Accessible.name: text
                checked: isCurrent
                Keys.onLeftPressed: move(-1)
                Keys.onRightPressed: move(1)
                onClicked: control.chosen(modelData)

                // As wide when it is chosen, so that the others keep their places.
                TextMetrics {
                    id: widest

                    font { family: Theme.fontFamily; pixelSize: Theme.buttonSize; weight: Font.DemiBold }
                    text: segment.text
                }
                contentItem: AccentText {
                    onAccent: segment.isCurrent
                    text: segment.text
                    font.pixelSize: Theme.buttonSize
                    font.weight: segment.isCurrent ? Font.DemiBold : Font.Normal
                    horizontalAlignment: Text.AlignHCenter
                    verticalAlignment: Text.AlignVCenter
                }
                background: Rectangle {
                    radius: Theme.controlRadius
                    color: segment.isCurrent ? Theme.accent : Theme.fill(segment.pressed ? 0.16 : 0.08)

                    FocusRing { control: segment }
                }
            }
        }
    }
}
