import QtQuick
import Tallyrig

// Reorders the cards while one of them is dragged over the others. The order is saved at the drop.
QtObject {
    id: drop

    required property ReaderStore store
    // The cell of the card that is being dragged; null if none is.
    property Item dragging: null
    // Where it was when the drag began.
    property int firstIndex: -1

    function begin(cell: Item) {
        firstIndex = cell.index
        dragging = cell
    }
    function dropEntered(target: Item) {
        if (dragging && target && target !== dragging)
            store.moveReader(dragging.index, target.index, false)
    }
    function performDrop() {
        if (!dragging)
            return
        dragging = null
        store.saveReaders()
    }
    // Puts the card back.
    function cancel() {
        if (!dragging)
            return
        if (dragging.index !== firstIndex)
            store.moveReader(dragging.index, firstIndex, false)
        dragging = null
    }
}
