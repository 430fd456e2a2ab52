import QtQuick
import QtQuick.Layouts
import Tallyrig

// A line of a result: what it is, its value, and a word more on it.
RowLayout {
    id: row

    property alias label: caption.text
    property alias value: content.text
    property alias detail: more.text
    property bool isTimecode: false

    spacing: 10
    Layout.fillWidth: true
    Accessible.role: Accessible.StaticText
    Accessible.name: label + " " + value

    Text {
        id: caption

        Layout.preferredWidth: 130
        color: Theme.secondaryText
        font.pixelSize: 13
    }
    Text {
        id: content

        objectName: "value"
        Layout.fillWidth: true
        // Layouts round down to whole pixels, and a text that lacks a part of one is cut short.
        Layout.maximumWidth: Math.ceil(implicitWidth)
        textFormat: Text.PlainText
        color: Theme.text
        font.family: row.isTimecode ? Theme.monospacedFamily : Theme.fontFamily
        font.pixelSize: 13
        elide: Text.ElideRight
        maximumLineCount: 1
    }
    Text {
        id: more

        objectName: "detail"
        Layout.fillWidth: true
        color: Theme.secondaryText
        font.pixelSize: 12
        elide: Text.ElideRight
    }
}
