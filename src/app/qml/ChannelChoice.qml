import QtQuick
import QtQuick.Layouts
import Tallyrig

// Which channels of the file are tried: all, or one.
ColumnLayout {
    id: area

    required property FileAnalyser analyser

    spacing: 8

    SectionLabel { text: "Channel" }
    Flow {
        Layout.fillWidth: true
        spacing: 6

        ChoiceButton {
            objectName: "autoDetect"
            text: "Auto-detect"
            isChosen: area.analyser.autoDetect
            onClicked: area.analyser.chooseAutoDetect()
        }
        Repeater {
            model: area.analyser.fileChannelCount
            delegate: ChoiceButton {
                required property int index

                objectName: "channel" + index
                text: "Ch " + (index + 1)
                isChosen: !area.analyser.autoDetect && area.analyser.selectedChannel === index
                onClicked: area.analyser.chooseChannel(index)
            }
        }
    }
    Text {
        objectName: "channelHint"
        Layout.fillWidth: true
        visible: area.analyser.autoDetect
        text: area.analyser.channelHint
        color: Theme.secondaryText
        font.pixelSize: 12
        wrapMode: Text.Wrap
    }
}
