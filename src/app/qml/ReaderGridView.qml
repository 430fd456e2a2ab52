import QtQuick
import QtQuick.Templates as T
import Tallyrig

// The wall of cards: its toolbar, the grid, and what stands there while it is empty.
FocusScope {
    id: view

    required property TallyrigApp app
    required property WindowManager windowManager
    required property ReaderStore store
    required property TimecodeRenderClock renderClock
    required property SettingsForms forms
    required property int tileMinimumWidth
    property string notice
    property list<T.Menu> menus
    property T.Menu tools: null

    readonly property bool pinned: windowManager.isOnTop
    // One pinned card stands alone, without a view to scroll in.
    readonly property bool alone: pinned && store.count === 1
    readonly property int margin: pinned ? 4 : 20
    property bool hasFittedInitialWorkspace: false

    signal settingsRequested()
    signal aboutToggled()

    function fitWindow() {
        windowManager.fitMainWindow(store.count, store.globalTileSize, toolbar.implicitHeight + noticeBar.implicitHeight)
    }
    function fitInitialWorkspace() {
        if (hasFittedInitialWorkspace || store.count <= 1)
            return
        hasFittedInitialWorkspace = true
        fitWindow()
    }

    // Scrolls as far as the card needs that holds `item`.
    function reveal(item: Item) {
        let cell = item
        while (cell && cell.parent !== wall) cell = cell.parent
        if (!cell) return
        const first = cell.y
        const last = cell.y + cell.height + 2 * wall.y - scroller.height
        scroller.contentY = Math.max(0, Math.min(first, Math.max(last, scroller.contentY)))
    }

    // Moves a card by the keyboard, as far as there are places.
    function moveCard(cell: Item, step: int) {
        const target = cell.index + step
        if (target < 0 || target >= store.count) return
        store.moveReader(cell.index, target, true)
        Qt.callLater(reveal, cell)
    }

    Component.onCompleted: Qt.callLater(fitInitialWorkspace)

    JamPulse {
        id: wallPulse

        renderClock: view.renderClock
    }
    Binding {
        target: view.windowManager
        property: "fittingSize"
        value: {
            const columns = Math.max(1, Math.min(wall.columns, view.store.count))
            const width = columns * (view.tileMinimumWidth + wall.spacing) - wall.spacing + 2 * 4
            return view.store.count > 0 ? Qt.size(width, wall.height + 2 * 4) : Qt.size(0, 0)
        }
    }
    Connections {
        target: view.store

        function onCountChanged() {
            Qt.callLater(view.fitWindow)
        }
        function onGlobalTileSizeChanged() {
            Qt.callLater(view.fitWindow)
        }
    }
    KeyboardReach {
        view: view
        onReached: item => view.reveal(item)
    }
    Column {
        id: top

        width: parent.width

        GridToolbar {
            id: toolbar

            width: parent.width
            visible: !view.windowManager.toolbarIsDetached
            app: view.app
            windowManager: view.windowManager
            menus: view.menus
            tools: view.tools
            onAddRequested: view.store.addReader()
            onSettingsRequested: view.settingsRequested()
            onAboutToggled: view.aboutToggled()
        }
        NoticeBar {
            id: noticeBar

            objectName: "notice"
            width: parent.width
            text: view.pinned ? "" : view.notice
        }
    }
    EmptyWall {
        objectName: "emptyWall"
        anchors { top: top.bottom; bottom: parent.bottom; left: parent.left; right: parent.right }
        visible: view.store.count === 0
    }
    // A pinned window has no frame: it is moved by what lies in it.
    DragHandler {
        target: null
        enabled: view.pinned
        onActiveChanged: if (active) view.Window.window.startSystemMove()
    }
    TapHandler {
        acceptedButtons: Qt.RightButton
        enabled: view.pinned
        gesturePolicy: TapHandler.ReleaseWithinBounds
        onTapped: pinnedMenu.popup()
    }
    AppCommandMenu {
        id: pinnedMenu

        AppCommand {
            text: "Exit Pinned Mode"
            keys: "Esc"
            onTriggered: view.windowManager.exitPinnedMode()
        }
    }
    Flickable {
        id: scroller

        objectName: "scroller"
        anchors { top: top.bottom; bottom: parent.bottom; left: parent.left; right: parent.right }
        visible: view.store.count > 0
        clip: true
        interactive: !view.alone && !dropDelegate.dragging
        contentWidth: width
        contentHeight: view.alone ? height : wall.height + 2 * wall.y
        boundsBehavior: Flickable.StopAtBounds
        T.ScrollBar.vertical: AppScrollBar { active: !view.alone }

        Flow {
            id: wall

            readonly property int room: scroller.width - 2 * view.margin
            readonly property int columns: Math.max(1, Math.floor((room + spacing) / (view.tileMinimumWidth + spacing)))
            readonly property int tileWidth: Math.min(800, Math.floor((room - (columns - 1) * spacing) / columns))

            x: Math.round((scroller.width - width) / 2)
            y: view.margin
            width: columns * (tileWidth + spacing) - spacing
            spacing: Theme.gridSpacing
            move: Transition {
                id: shift

                enabled: dropDelegate.dragging !== null

                NumberAnimation {
                    properties: "x,y"
                    duration: 150
                    easing.type: Easing.InOutQuad
                }
            }

            Repeater {
                model: view.store

                ReaderTileView {
                    id: cell

                    required property var model
                    required property int index

                    width: wall.tileWidth
                    reader: model.reader
                    store: view.store
                    renderClock: view.renderClock
                    jamPulse: wallPulse
                    inSight: wall.y + y + height + 3 > scroller.contentY
                             && wall.y + y - 3 < scroller.contentY + scroller.height
                    opacity: dropDelegate.dragging === cell ? 0.5 : 1
                    Accessible.description: view.pinned ? "" : "Control and an arrow key move the card"
                    onSettingsRequested: popover.show(cell.reader, cell)
                    onRemoveRequested: view.store.removeReader(cell.reader)
                    Keys.onPressed: event => {
                        const steps = {
                            [Qt.Key_Left]: -1,
                            [Qt.Key_Right]: 1,
                            [Qt.Key_Up]: -wall.columns,
                            [Qt.Key_Down]: wall.columns
                        }
                        if (view.pinned || event.modifiers !== Qt.ControlModifier || !(event.key in steps)) return
                        event.accepted = true
                        view.moveCard(cell, steps[event.key])
                    }

                    Behavior on opacity {
                        NumberAnimation { duration: 200; easing.type: Easing.InOutQuad }
                    }
                    DragHandler {
                        id: drag

                        target: null
                        enabled: !view.pinned
                        acceptedDevices: PointerDevice.Mouse | PointerDevice.TouchPad | PointerDevice.Stylus
                        onActiveChanged: active ? dropDelegate.begin(cell) : dropDelegate.performDrop()
                        onCanceled: dropDelegate.cancel()
                        onCentroidChanged: if (active) dragPlace.follow(centroid.scenePosition)
                    }
                }
            }
        }
    }
    ReaderDropDelegate {
        id: dropDelegate

        store: view.store
    }
    DragPlace {
        id: dragPlace

        view: view
        scroller: scroller
        wall: wall
        isMoving: shift.running
        dropDelegate: dropDelegate
    }
    Shortcut {
        sequence: "Escape"
        enabled: dropDelegate.dragging !== null
        onActivated: dropDelegate.cancel()
    }
    Loader {
        active: dropDelegate.dragging !== null
        sourceComponent: DragGhost {
            reader: dropDelegate.dragging.reader
            pointer: dragPlace.pointer
        }
    }
    ReaderSettingsPopover {
        id: popover

        forms: view.forms
    }
}
