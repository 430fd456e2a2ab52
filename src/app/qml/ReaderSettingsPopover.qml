import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Tallyrig

// Edits one card's settings. The card sees nothing of it before Apply; closing drops the edits.
T.Popup {
    id: popover

    required property SettingsForms forms
    property ReaderSettingsForm form: null
    property ReaderTileView tile: null

    // Opens on a card, beside its tile where there is room, so that the card stays in sight.
    function show(reader: ReaderInstance, tile: ReaderTileView) {
        form = forms.open(reader)
        popover.tile = tile
        tile.showingSettings = true
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

    objectName: "popover"
    width: 384
    height: Math.min(implicitHeight, parent.height - 2 * margins)
    implicitHeight: contentItem.implicitHeight
    margins: 8
    padding: 0
    focus: true
    closePolicy: T.Popup.CloseOnEscape | T.Popup.CloseOnPressOutside
    onOpened: body.item.begin()
    onClosed: {
        const closing = form
        form = null
        if (closing) closing.destroy()
        if (tile) tile.showingSettings = false
        tile = null
    }

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
        active: popover.form !== null
        sourceComponent: ReaderSettingsPanel {
            form: popover.form
            onApplied: popover.close()
        }
    }
}
