import QtQml
import QtQuick

// Tells what the keyboard has reached in the window of `view`, so that it can be brought into sight. What the mouse
// presses is in sight already, and must not move away from under it.
QtObject {
    id: reach

    required property Item view

    signal reached(item: Item)

    readonly property Connections focus: Connections {
        target: reach.view.Window.window

        function onActiveFocusItemChanged() {
            const item = reach.view.Window.activeFocusItem
            if (item?.focusReason !== Qt.MouseFocusReason) reach.reached(item)
        }
    }
}
