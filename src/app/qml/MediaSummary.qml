import QtQuick
import QtQuick.Layouts
import Tallyrig

// What the analysis of the clip has found.
ColumnLayout {
    id: summary

    required property FileMediaPlayer workflow

    spacing: 4

    component Line: RowLayout {
        property alias label: labelText.text
        property alias value: valueText.text

        Text {
            id: labelText

            color: Theme.secondaryText
            font { family: Theme.fontFamily; pixelSize: Theme.buttonSize }
        }
        Text {
            id: valueText

            Layout.fillWidth: true
            horizontalAlignment: Text.AlignRight
            textFormat: Text.PlainText
            elide: Text.ElideRight
            color: Theme.text
            font { family: Theme.monospacedFamily; pixelSize: Theme.buttonSize }
        }
    }

    Line {
        objectName: "summaryTimecode"
        label: "Timecode:"
        value: summary.workflow.isAnalysing ? "Analysing..."
             : summary.workflow.errorMessage !== "" ? "No LTC detected"
             : summary.workflow.channelText !== "--" ? "Channel " + summary.workflow.channelText : "--"
    }
    Line {
        objectName: "summaryStart"
        label: "Start:"
        value: summary.workflow.startText
    }
    Line {
        objectName: "summaryRate"
        label: "FPS:"
        value: summary.workflow.rateText
    }
}
