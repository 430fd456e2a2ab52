import QtQuick
import Tallyrig

// A tool tip that exists only while the pointer rests on its control, so that a wall of tiles stays light.
Loader {
    id: holder

    property bool hovered: false
    property string text

    active: hovered && text !== ""
    sourceComponent: AppToolTip {
        parent: holder.parent
        text: holder.text
        visible: true
    }
}
