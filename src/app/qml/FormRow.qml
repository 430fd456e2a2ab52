import QtQuick
import QtQuick.Layouts
import Tallyrig

// A line of a form: a label column and the control beside it.
RowLayout {
    id: row

    property alias label: caption.text

    spacing: 10
    Layout.fillWidth: true

    Text {
        id: caption

        Layout.preferredWidth: 72
        Layout.minimumHeight: Theme.controlHeight
        Layout.alignment: Qt.AlignTop
        verticalAlignment: Text.AlignVCenter
        wrapMode: Text.WordWrap
        color: Theme.secondaryText
        font.pixelSize: 12
    }
}
