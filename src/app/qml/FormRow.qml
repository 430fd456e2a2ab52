import QtQuick
import QtQuick.Layouts
import Tallyrig

// A line of a form: a label column and the control beside it.
RowLayout {
    id: row

    property alias label: caption.text
    property int labelWidth: 72

    spacing: 10
    Layout.fillWidth: true

    Text {
        id: caption

        Layout.preferredWidth: row.labelWidth
        Layout.minimumHeight: Theme.controlHeight
        Layout.alignment: Qt.AlignTop
        verticalAlignment: Text.AlignVCenter
        wrapMode: Text.WordWrap
        color: Theme.secondaryText
        font.pixelSize: 12
    }
}
