import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Tallyrig

// The rows of a card's settings. They scroll where they do not fit; what applying says and its button stay in sight.
FocusScope {
    id: panel

    required property ReaderSettingsForm form

    readonly property bool isGenerator: form.cardRole === "Generator"
    readonly property bool overflows: rows.implicitHeight + 26 > scroller.height

    signal applied()

    function begin() {
        name.forceActiveFocus(Qt.PopupFocusReason)
    }
    function apply() {
        if (panel.form.apply()) panel.applied()
    }

    implicitHeight: rows.implicitHeight + 26 + footer.implicitHeight + 26
    Accessible.role: Accessible.Dialog
    Accessible.name: "Settings"
    Keys.onReturnPressed: apply()
    Keys.onEnterPressed: apply()

    KeyboardReach {
        view: panel
        onReached: item => scroller.reveal(item)
    }
    Flickable {
        id: scroller

        // Scrolls as far as is needed to see `item`, if it is one of the rows.
        function reveal(item: Item) {
            let above = item
            while (above && above !== rows) above = above.parent
            if (!above) return
            const top = item.mapToItem(rows, 0, 0).y
            const last = top + item.height + 2 * rows.y - height
            contentY = Math.max(0, Math.min(top, Math.max(last, contentY)))
        }

        objectName: "settingsScroller"
        anchors { top: parent.top; left: parent.left; right: parent.right; bottom: footer.top; bottomMargin: 10 }
        contentWidth: width
        contentHeight: rows.implicitHeight + 26
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        T.ScrollBar.vertical: AppScrollBar {}

        ColumnLayout {
            id: rows

            x: 16
            y: 16
            width: parent.width - 32
            spacing: 10

            RowLayout {
                Layout.fillWidth: true

                Text {
                    Layout.fillWidth: true
                    text: "Settings"
                    color: Theme.text
                    font.pixelSize: 17
                    font.weight: Font.DemiBold
                }
                AppIconButton {
                    objectName: "refresh"
                    symbol: "refresh"
                    text: "Refresh"
                    toolTip: "Refresh audio and MIDI device lists"
                    onClicked: panel.form.refreshDevices()
                }
            }
            SegmentedChoice {
                objectName: "role"
                accessibleName: "Role"
                choices: ["Reader", "Generator"]
                current: panel.form.cardRole
                onChosen: choice => panel.form.cardRole = choice
            }
            FormRow {
                label: "Name"

                AppTextField {
                    id: name

                    objectName: "name"
                    Layout.fillWidth: true
                    focus: true
                    placeholderText: "Card name"
                    text: panel.form.label
                    Accessible.name: "Name"
                    onTextEdited: panel.form.label = text
                    onAccepted: panel.apply()
                }
            }
            FormRow {
                label: "Colour"

                ColourSwatches {
                    colours: panel.form.palette
                    names: ["Blue", "Violet", "Teal", "Brown", "Dark teal", "Dark brown", "Dark green", "Dark plum"]
                    current: panel.form.selectedHex
                    onChosen: hex => panel.form.selectedHex = hex
                }
            }
            GeneratorStartSection {
                visible: panel.isGenerator
                start: panel.form.generatorStart
                onAccepted: panel.apply()
            }
            InputSection {
                visible: !panel.isGenerator
                form: panel.form
            }
            OutputSection {
                output: panel.form.output
                isGenerator: panel.isGenerator
            }
        }
    }
    Rectangle {
        anchors { bottom: scroller.bottom; left: parent.left; right: parent.right }
        visible: panel.overflows
        height: 1
        color: Theme.hairline
    }
    ColumnLayout {
        id: footer

        anchors { bottom: parent.bottom; left: parent.left; right: parent.right; margins: 16 }
        spacing: 10

        ConflictBanner {
            objectName: "conflict"
            Layout.fillWidth: true
            visible: text !== ""
            text: panel.form.outputAssignmentWarning
        }
        AppPrimaryButton {
            objectName: "apply"
            Layout.fillWidth: true
            text: "Apply"
            cornerRadius: Theme.controlRadius
            onClicked: panel.apply()
        }
    }
}
