import QtQuick
import QtQuick.Layouts
import Tallyrig

// Number fields of two digits with colons between them, as a timecode is written.
RowLayout {
    id: row

    required property WAVGenerator generator
    // Numbers of WAVGenerator's TimecodeField, in order.
    required property var fields
    required property var names

    spacing: 4

    Repeater {
        id: boxes

        model: row.fields
        delegate: RowLayout {
            id: part

            required property int index
            required property int modelData
            readonly property Item box: input

            spacing: 4

            Text {
                visible: part.index > 0
                text: ":"
                color: Theme.text
                font.pixelSize: 15
            }
            AppTextField {
                id: input

                function show() {
                    const shown = row.generator.fieldText(part.modelData)
                    if (text !== shown) text = shown
                }

                objectName: "field" + part.modelData
                implicitWidth: 46
                horizontalAlignment: TextInput.AlignHCenter
                font.family: Theme.monospacedFamily
                inputMethodHints: Qt.ImhDigitsOnly
                Accessible.name: row.names[part.index]
                Component.onCompleted: show()
                onTextEdited: row.generator.typeInto(part.modelData, text)
                onActiveFocusChanged: activeFocus ? selectAll() : show()
                onAccepted: {
                    show()
                    const next = row.generator.nextField(part.modelData)
                    const there = row.fields.indexOf(next)
                    if (there >= 0) boxes.itemAt(there).box.forceActiveFocus(Qt.TabFocusReason)
                    else focus = false
                }

                Connections {
                    target: row.generator

                    // What is being typed stays as it is until the field is left.
                    function onChanged() {
                        if (!input.activeFocus) input.show()
                    }
                }
            }
        }
    }
}
