import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Tallyrig

// One row for each channel of the clip, with the output it is heard on.
ListView {
    id: table

    objectName: "routingTable"
    required property FileMediaPlayer workflow

    clip: true
    spacing: 4
    model: workflow.channelMarks.length
    boundsBehavior: Flickable.StopAtBounds
    T.ScrollBar.vertical: AppScrollBar {}

    delegate: RowLayout {
        id: row

        required property int index
        readonly property string mark: table.workflow.channelMarks[index] ?? ""

        width: ListView.view.width - (table.contentHeight > table.height ? 12 : 0)
        spacing: 8

        Text {
            Layout.preferredWidth: 84
            text: "Channel " + (row.index + 1)
            color: Theme.text
            font { family: Theme.fontFamily; pixelSize: Theme.buttonSize }
        }
        Text {
            objectName: "channelMark"
            Layout.fillWidth: true
            text: row.mark
            color: row.mark.startsWith("TC") ? Theme.accent : Theme.secondaryText
            elide: Text.ElideRight
            font { family: Theme.fontFamily; pixelSize: Theme.captionSize; weight: Font.DemiBold }
        }
        AppIcon {
            name: "arrow-right"
            size: 12
            color: Theme.secondaryText
        }
        AppMenu {
            objectName: "assignmentMenu"
            Layout.preferredWidth: 112
            accessibleName: "Output of channel " + (row.index + 1)
            model: table.workflow.outputChoices
            currentIndex: table.workflow.assignedChoices[row.index] ?? 0
            onActivated: choice => table.workflow.assign(row.index, choice)
        }
    }
}
