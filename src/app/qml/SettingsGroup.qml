import QtQuick
import Tallyrig

// A labelled panel of a utility window.
Column {
    id: group

    property string title
    default property alias content: body.data

    spacing: 8

    Text {
        text: group.title
        color: Theme.secondaryText
        font.pixelSize: Theme.sectionLabelSize
        font.weight: Font.DemiBold
        font.letterSpacing: 0.5
    }
    Rectangle {
        width: group.width
        height: body.childrenRect.height + 32
        radius: 12
        color: Theme.panel
        border.color: Theme.hairline

        Item {
            id: body

            x: 16
            y: 16
            width: parent.width - 32
            height: childrenRect.height
        }
    }
}
