import QtQuick
import QtQuick.Templates as T
import Tallyrig

// A list of commands that opens under its title.
T.Menu {
    id: menu

    implicitWidth: 220
    implicitHeight: contentItem.implicitHeight + topPadding + bottomPadding
    margins: 4
    padding: 5
    overlap: 0

    delegate: AppCommand {}
    contentItem: ListView {
        implicitHeight: contentHeight
        model: menu.contentModel
        clip: true
        currentIndex: menu.currentIndex
        boundsBehavior: Flickable.StopAtBounds
        T.ScrollBar.vertical: AppScrollBar {}
    }
    background: Rectangle {
        radius: Theme.controlRadius
        color: Theme.panel
        border.color: Theme.hairline
    }
}
