import QtQuick
import QtQuick.Layouts
import Tallyrig

// The heading of a group of form rows, with a line above it.
ColumnLayout {
    property alias text: label.text

    spacing: 8
    Layout.fillWidth: true
    Layout.topMargin: 4

    Rectangle {
        Layout.fillWidth: true
        implicitHeight: 1
        color: Theme.hairline
    }
    Text {
        id: label

        color: Theme.text
        font.pixelSize: Theme.sectionLabelSize
        font.weight: Font.DemiBold
    }
}
