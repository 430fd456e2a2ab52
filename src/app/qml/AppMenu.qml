import QtQuick
import QtQuick.Templates as T
import Tallyrig

// A field that opens a list of texts to choose one from.
T.ComboBox {
    id: control

    property string accessibleName

    implicitWidth: 200
    implicitHeight: Theme.controlHeight
    leftPadding: 10
    rightPadding: 28
    font.family: Theme.fontFamily
    font.pixelSize: Theme.buttonSize
    Accessible.name: accessibleName
    Accessible.description: displayText

    contentItem: Text {
        text: control.displayText
        font: control.font
        color: control.enabled ? Theme.text : Theme.secondaryText
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
    }
    indicator: AppIcon {
        x: control.width - width - 9
        y: Math.round((control.height - height) / 2)
        name: "chevron-down"
        size: 12
        color: Theme.secondaryText
    }
    background: Rectangle {
        radius: Theme.controlRadius
        color: Theme.field
        border.color: Theme.hairline
        opacity: control.enabled ? 1 : 0.6

        FocusRing { control: control }
    }
    delegate: T.ItemDelegate {
        id: item

        required property string modelData
        required property int index

        objectName: "menuEntry"
        width: control.width - 10
        height: 28
        leftPadding: 8
        rightPadding: 8
        text: modelData
        highlighted: control.highlightedIndex === index
        Accessible.name: text

        contentItem: Text {
            text: item.text
            font.family: Theme.fontFamily
            font.pixelSize: Theme.buttonSize
            font.weight: control.currentIndex === item.index ? Font.DemiBold : Font.Normal
            color: item.highlighted ? "white" : Theme.text
            verticalAlignment: Text.AlignVCenter
            elide: Text.ElideRight
        }
        background: Rectangle {
            radius: 5
            color: item.highlighted ? Theme.accent : "transparent"
        }
    }
    popup: T.Popup {
        y: control.height + 3
        width: control.width
        height: Math.min(contentItem.implicitHeight + 10, 300)
        padding: 5
        margins: 8

        contentItem: ListView {
            clip: true
            implicitHeight: contentHeight
            model: control.popup.visible ? control.delegateModel : null
            currentIndex: control.highlightedIndex
            boundsBehavior: Flickable.StopAtBounds
            T.ScrollBar.vertical: AppScrollBar {}
        }
        background: Rectangle {
            radius: Theme.controlRadius
            color: Theme.panel
            border.color: Theme.hairline
        }
    }
}
