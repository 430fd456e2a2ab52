import QtQuick
import Tallyrig

// A question that must be answered before the window it belongs to goes on. A window of its own, so that it is whole
// however small the other one is.
Window {
    id: dialog

    required property string heading
    required property string message
    required property string confirmText
    // Whether the Return key answers yes.
    property bool confirmIsDefault: false

    signal confirmed()
    signal cancelled()

    title: heading
    width: 390
    height: body.implicitHeight
    minimumWidth: width
    maximumWidth: width
    minimumHeight: height
    maximumHeight: height
    flags: Qt.Dialog | Qt.CustomizeWindowHint | Qt.WindowTitleHint | Qt.WindowCloseButtonHint
    modality: Qt.WindowModal
    color: Theme.panel
    visible: true
    onClosing: cancelled()

    Shortcut {
        sequence: "Escape"
        onActivated: dialog.cancelled()
    }
    Shortcut {
        sequences: ["Return", "Enter"]
        enabled: dialog.confirmIsDefault
        onActivated: dialog.confirmed()
    }
    Column {
        id: body

        width: parent.width
        padding: 24
        spacing: 24
        Accessible.role: Accessible.Dialog
        Accessible.name: dialog.heading
        Accessible.description: dialog.message

        Text {
            objectName: "heading"
            width: parent.width - 48
            text: dialog.heading
            color: Theme.text
            font.pixelSize: 17
            font.weight: Font.DemiBold
            wrapMode: Text.WordWrap
        }
        Text {
            objectName: "message"
            width: parent.width - 48
            text: dialog.message
            color: Theme.secondaryText
            font.pixelSize: Theme.buttonSize
            wrapMode: Text.WordWrap
        }
        Row {
            x: parent.width - 24 - width
            spacing: 12

            AppSecondaryButton {
                objectName: "cancel"
                height: confirm.height
                focus: !dialog.confirmIsDefault
                text: "Cancel"
                Keys.onReturnPressed: clicked()
                Keys.onEnterPressed: clicked()
                onClicked: dialog.cancelled()
            }
            AppProminentDestructiveButton {
                id: confirm

                objectName: "confirm"
                focus: dialog.confirmIsDefault
                text: dialog.confirmText
                Keys.onReturnPressed: clicked()
                Keys.onEnterPressed: clicked()
                onClicked: dialog.confirmed()
            }
        }
    }
}
