import QtQuick
import QtQuick.Layouts
import Tallyrig

// The Media Player: a clip's picture and transport, its timecode, and where each of its channels is heard.
Item {
    id: view

    required property MediaPlayers mediaPlayers
    readonly property FileMediaPlayer workflow: mediaPlayers.open(view)
    property size minimumSize: Qt.size(860, 520)

    focus: true
    Keys.onSpacePressed: workflow.togglePlayback()
    Keys.onLeftPressed: workflow.skip(-5)
    Keys.onRightPressed: workflow.skip(5)

    RowLayout {
        anchors.fill: parent
        spacing: 0

        ColumnLayout {
            spacing: 0

            Rectangle {
                Layout.fillWidth: true
                Layout.fillHeight: true
                color: view.workflow.hasClip ? "black" : Theme.window

                TapHandler { onTapped: view.forceActiveFocus() }
                MoviePictureItem {
                    objectName: "moviePicture"
                    anchors.fill: parent
                    player: view.workflow.player
                }
                AppIcon {
                    anchors.centerIn: parent
                    name: "waveform"
                    size: 72
                    color: "#8a93a0"
                    visible: view.workflow.hasClip && !view.workflow.hasVideo
                }
                MediaDropPlaceholder {
                    objectName: "dropPlaceholder"
                    anchors.fill: parent
                    visible: !view.workflow.hasClip
                    isTargeted: dropArea.containsDrag
                    onClicked: browser.open()
                }
                Rectangle {
                    anchors.fill: parent
                    color: "transparent"
                    border { width: 3; color: Theme.accent }
                    visible: dropArea.containsDrag
                }
            }
            MediaTransport {
                Layout.fillWidth: true
                workflow: view.workflow
            }
        }
        MediaPlayerPanel {
            Layout.fillHeight: true
            Layout.preferredWidth: 340
            workflow: view.workflow
            onJumped: view.forceActiveFocus()
        }
    }
    DropArea {
        id: dropArea

        anchors.fill: parent
        onEntered: drag => drag.accepted = drag.hasUrls
        onDropped: drop => {
            drop.accepted = view.workflow.loadDropped(drop.urls)
            view.forceActiveFocus()
        }
    }
    MediaFileBrowser {
        id: browser

        filters: view.workflow.fileFilters
        onChosen: file => {
            view.workflow.loadClip(file)
            // The place that was pressed has gone, and the keys with it.
            view.forceActiveFocus()
        }
    }
}
