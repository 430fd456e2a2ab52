import QtQuick
import QtQuick.Templates as T
import Tallyrig

// A control's explanation under the pointer.
T.ToolTip {
    id: control

    delay: 600
    timeout: 6000
    margins: 6
    padding: 6
    horizontalPadding: 9
    x: parent ? Math.round((parent.width - implicitWidth) / 2) : 0
    y: parent ? parent.height + 5 : 0
    implicitWidth: Math.min(contentItem.implicitWidth + leftPadding + rightPadding, 320)
    implicitHeight: contentItem.implicitHeight + topPadding + bottomPadding
    closePolicy: T.Popup.CloseOnEscape | T.Popup.CloseOnPressOutsideParent | T.Popup.CloseOnReleaseOutsideParent

    contentItem: Text {
        objectName: "toolTip"
        text: control.text
        textFormat: Text.PlainText
        wrapMode: Text.Wrap
        color: Theme.text
        font.pixelSize: Theme.captionSize
    }
    background: Rectangle {
        color: Theme.panel
        border.color: Theme.hairline
        radius: 5
    }
}
