import QtQuick
import Tallyrig

// Where the pointer is while a card is dragged: finds the card beneath it and scrolls when it comes near an edge.
Item {
    id: place

    required property Item view
    required property Flickable scroller
    required property Item wall
    // Cards are on their way to their places; what lies under the pointer then means nothing.
    required property bool isMoving
    required property ReaderDropDelegate dropDelegate
    property point pointer

    readonly property int edge: 40

    function follow(scenePosition: point) {
        pointer = view.mapFromItem(null, scenePosition.x, scenePosition.y)
        enter()
    }
    function enter() {
        if (isMoving || !dropDelegate.dragging) return
        const within = view.mapToItem(wall, pointer.x, pointer.y)
        const target = wall.childAt(within.x, within.y)
        if (target && target.reader) dropDelegate.dropEntered(target)
    }

    onIsMovingChanged: enter()

    Timer {
        interval: 16
        repeat: true
        running: place.dropDelegate.dragging !== null
        onTriggered: {
            const y = place.view.mapToItem(place.scroller, place.pointer.x, place.pointer.y).y
            const step = y < place.edge ? -8 : y > place.scroller.height - place.edge ? 8 : 0
            const last = Math.max(0, place.scroller.contentHeight - place.scroller.height)
            const wanted = Math.max(0, Math.min(last, place.scroller.contentY + step))
            if (step === 0 || wanted === place.scroller.contentY) return
            place.scroller.contentY = wanted
            place.enter()
        }
    }
}
