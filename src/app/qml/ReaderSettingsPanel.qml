import QtQuick
import QtQuick.Layouts
import Tallyrig

// The rows of a card's settings.
FocusScope {
    id: panel

    required property ReaderSettingsForm form

    signal applied()

    implicitHeight: rows.implicitHeight + 32
    Accessible.role: Accessible.Dialog
    Accessible.name: "Settings"

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
                objectName: "name"
                Layout.fillWidth: true
                focus: true
                placeholderText: "Card name"
                text: panel.form.label
                Accessible.name: "Name"
                onTextEdited: panel.form.label = text
                onAccepted: apply.click()
            }
        }
        FormRow {
            label: "Colour"

            ColourSwatches {
                colours: panel.form.palette
                current: panel.form.selectedHex
                onChosen: hex => panel.form.selectedHex = hex
            }
        }
        InputSection {
            visible: panel.form.cardRole === "Reader"
            form: panel.form
        }
        AppPrimaryButton {
            id: apply

            objectName: "apply"
            Layout.fillWidth: true
            Layout.topMargin: 6
            text: "Apply"
            onClicked: if (panel.form.apply()) panel.applied()
        }
    }
}
