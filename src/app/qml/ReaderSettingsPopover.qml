import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Tallyrig

// Edits one card's settings. The card sees nothing of it before Apply; closing drops the edits. Where the window is too
// small for it, it opens as a window of its own.
T.Popup {
    id: popover

    required property SettingsForms forms
    property ReaderSettingsForm form: null
    property ReaderTileView tile: null
    // In a window of its own.
    property bool isApart: false

    // Of the window; below it hardly a row would be seen.
    readonly property int leastHeight: 200

    // Opens on a card, beside its tile where there is room, so that the card stays in sight.
    function show(reader: ReaderInstance, tile: ReaderTileView) {
        finish()
        isApart = parent.width < width || parent.height < leastHeight
        popover.tile = tile
        tile.showingSettings = true
        form = forms.open(reader)
        if (isApart) return
        const gap = Theme.gridSpacing / 2 + 3
        const corner = tile.mapToItem(parent, 0, 0)
        const right = corner.x + tile.width + gap
        const left = corner.x - gap - width
        const fitsRight = right + width + margins <= parent.width
        const fitsLeft = left >= margins
        x = Math.round(fitsRight ? right : fitsLeft ? left : corner.x + tile.width - width)
        y = Math.round(fitsRight || fitsLeft ? corner.y : corner.y + 40)
        open()
    }
    function finish() {
        const closing = form
        form = null
        if (closing) closing.destroy()
        if (tile) tile.showingSettings = false
        tile = null
    }

    objectName: "popover"
    width: 384
    height: Math.min(implicitHeight, parent.height - 2 * margins)
    implicitHeight: contentItem.implicitHeight
    margins: 8
    padding: 0
    focus: true
    closePolicy: T.Popup.CloseOnEscape | T.Popup.CloseOnPressOutside
    onOpened: body.item.begin()
    onClosed: finish()

    background: Item {
        Repeater {
            model: 4

            Rectangle {
                required property int index

                anchors.fill: parent
                anchors.margins: -2 * (index + 1)
                anchors.topMargin: -index
                anchors.bottomMargin: -3 * (index + 1)
                radius: 13 + 2 * index
                color: Theme.shadow
                opacity: 0.22
            }
        }
        Rectangle {
            objectName: "popoverPanel"
            anchors.fill: parent
            radius: 12
            color: Theme.panel
            border.color: Theme.hairline
        }
    }
    contentItem: Loader {
        id: body

        focus: true
        active: popover.form !== null && !popover.isApart
        sourceComponent: ReaderSettingsPanel {
            form: popover.form
            onApplied: popover.close()
        }
    }

    readonly property Loader apart: Loader {
        active: popover.form !== null && popover.isApart
        sourceComponent: ReaderSettingsWindow {
            form: popover.form
            tile: popover.tile
            width: popover.width
            onFinished: popover.finish()
        }
    }
}
