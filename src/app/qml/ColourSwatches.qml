import QtQuick
import QtQuick.Templates as T
import Tallyrig

// A row of card colours, the chosen one ringed.
Row {
    id: swatches

    required property var colours
    required property string current
    // What a screen reader calls them.
    property var names: []

    signal chosen(string hex)

    spacing: 5
    Accessible.role: Accessible.Grouping
    Accessible.name: "Colour"

    Repeater {
        id: all

        model: swatches.colours

        T.RadioButton {
            id: swatch

            required property string modelData
            required property int index
            readonly property bool isCurrent: modelData === swatches.current

            function move(step: int) {
                const next = Math.max(0, Math.min(all.count - 1, index + step))
                // The one that is left must have lost the focus before it stops being a stop.
                all.itemAt(next).forceActiveFocus(Qt.TabFocusReason)
                swatches.chosen(swatches.colours[next])
            }

            objectName: "swatch" + index
            width: 24
            height: 24
            text: swatches.names[index] ?? "Colour " + (index + 1)
            // One stop for the Tab key: the chosen colour, or the first where none is.
            focusPolicy: isCurrent || (index === 0 && !swatches.colours.includes(swatches.current)) ? Qt.StrongFocus
                                                                                                     : Qt.ClickFocus
            Accessible.name: text
            checked: isCurrent
            Keys.onLeftPressed: move(-1)
            Keys.onRightPressed: move(1)
            onClicked: swatches.chosen(modelData)

            background: Rectangle {
                radius: 7
                color: swatch.modelData
                border.color: Theme.hairline

                Rectangle {
                    anchors.fill: parent
                    anchors.margins: 2
                    visible: swatch.isCurrent
                    radius: 5
                    color: "transparent"
                    border.width: 2
                    border.color: "white"
                }
                FocusRing {
                    control: swatch
                    radius: 10
                }
            }
        }
    }
}
