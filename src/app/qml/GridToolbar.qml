import QtQuick
import QtQuick.Templates as T
import Tallyrig

// The window's menus and tools, the chief tool first.
Rectangle {
    id: bar

    property list<T.Menu> menus

    signal addRequested()

    implicitHeight: 46
    color: Theme.bar
    Accessible.role: Accessible.ToolBar
    Accessible.name: "Toolbar"

    AppMenuBar {
        anchors { left: parent.left; leftMargin: 11; verticalCenter: parent.verticalCenter }
        menus: bar.menus
    }
    Row {
        anchors { right: parent.right; rightMargin: 20; verticalCenter: parent.verticalCenter }
        spacing: 8

        AppIconButton {
            objectName: "addReader"
            symbol: "plus-circle"
            symbolSize: 18
            text: "Add Reader"
            toolTip: "Add Reader"
            onClicked: bar.addRequested()
        }
    }
    Rectangle {
        anchors.bottom: parent.bottom
        width: parent.width
        height: 1
        color: Theme.hairline
        opacity: 0.5
    }
}
