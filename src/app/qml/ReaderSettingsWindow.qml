import QtQuick
import Tallyrig

// A card's settings as a window of their own, at the foot of the card and wholly on its screen.
Window {
    id: frame

    required property ReaderSettingsForm form
    required property ReaderTileView tile

    // Of the screen, for its panels and the window's frame.
    readonly property int edge: 40

    signal finished()

    function stayOnScreen(place: point) {
        const within = (wanted, first, last) => Math.round(Math.max(first, Math.min(wanted, last)))
        x = within(place.x, Screen.virtualX, Screen.virtualX + Screen.width - width)
        y = within(place.y, Screen.virtualY + edge, Screen.virtualY + Screen.height - edge - height)
    }

    objectName: "settingsApart"
    title: form.label + " – Settings"
    transientParent: tile.Window.window
    height: Math.min(panel.implicitHeight, Screen.height - 2 * edge)
    minimumWidth: width
    maximumWidth: width
    flags: Qt.Dialog | Qt.CustomizeWindowHint | Qt.WindowTitleHint | Qt.WindowCloseButtonHint
    color: Theme.panel
    // A card that goes takes its settings along.
    onTileChanged: if (!tile) finished()
    onHeightChanged: if (visible) stayOnScreen(Qt.point(x, y))
    onClosing: finished()
    Component.onCompleted: {
        stayOnScreen(tile.mapToGlobal(0, tile.height + 12))
        visible = true
        panel.begin()
    }

    // Not a shortcut, which would come before an open list that Escape closes.
    FocusScope {
        anchors.fill: parent
        focus: true
        Keys.onEscapePressed: frame.finished()

        ReaderSettingsPanel {
            id: panel

            anchors.fill: parent
            focus: true
            form: frame.form
            onApplied: frame.finished()
        }
    }
}
