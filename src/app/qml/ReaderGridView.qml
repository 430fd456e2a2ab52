import QtQuick
import QtQuick.Templates as T
import Tallyrig

// The wall of cards: its toolbar, the grid, and what stands there while it is empty.
FocusScope {
    id: view

    required property ReaderStore store
    required property TimecodeRenderClock renderClock
    required property SettingsForms forms
    required property int tileMinimumWidth
    property string notice
    property list<T.Menu> menus

    // Scrolls as far as the card needs that holds `item`.
    function reveal(item: Item) {
        let cell = item
        while (cell && cell.parent !== wall) cell = cell.parent
        if (!cell) return
        const first = cell.y
        const last = cell.y + cell.height + 2 * wall.y - scroller.height
        scroller.contentY = Math.max(0, Math.min(first, Math.max(last, scroller.contentY)))
    }

    JamPulse {
        id: wallPulse

        renderClock: view.renderClock
    }
    Connections {
        target: view.Window.window

        function onActiveFocusItemChanged() {
            view.reveal(view.Window.activeFocusItem)
        }
    }
    Column {
        id: top

        width: parent.width

        GridToolbar {
            width: parent.width
            menus: view.menus
            onAddRequested: view.store.addReader()
        }
        NoticeBar {
            objectName: "notice"
            width: parent.width
            text: view.notice
        }
    }
    EmptyWall {
        objectName: "emptyWall"
        anchors { top: top.bottom; bottom: parent.bottom; left: parent.left; right: parent.right }
        visible: view.store.count === 0
    }
    Flickable {
        id: scroller

        objectName: "scroller"
        anchors { top: top.bottom; bottom: parent.bottom; left: parent.left; right: parent.right }
        visible: view.store.count > 0
        clip: true
        contentWidth: width
        contentHeight: wall.height + 2 * wall.y
        boundsBehavior: Flickable.StopAtBounds
        T.ScrollBar.vertical: AppScrollBar {}

        Flow {
            id: wall

            readonly property int room: scroller.width - 2 * 20
            readonly property int columns: Math.max(1, Math.floor((room + spacing) / (view.tileMinimumWidth + spacing)))
            readonly property int tileWidth: Math.min(800, Math.floor((room - (columns - 1) * spacing) / columns))

            x: Math.round((scroller.width - width) / 2)
            y: 20
            width: columns * (tileWidth + spacing) - spacing
            spacing: Theme.gridSpacing

            Repeater {
                model: view.store

                ReaderTileView {
                    id: cell

                    required property var model

                    width: wall.tileWidth
                    reader: model.reader
                    store: view.store
                    renderClock: view.renderClock
                    jamPulse: wallPulse
                    inSight: wall.y + y + height + 3 > scroller.contentY
                             && wall.y + y - 3 < scroller.contentY + scroller.height
                    onSettingsRequested: popover.show(cell.reader, cell)
                    onRemoveRequested: view.store.removeReader(cell.reader)
                }
            }
        }
    }
    ReaderSettingsPopover {
        id: popover

        forms: view.forms
    }
}
