import QtQuick
import QtQuick.Templates as T
import Tallyrig

// The window's menus and tools, the chief tool first.
Rectangle {
    id: bar

    required property TallyrigApp app
    required property WindowManager windowManager
    property list<T.Menu> menus
    property T.Menu tools: null

    readonly property bool isNarrow: width < 360

    signal addRequested()
    signal settingsRequested()
    signal aboutToggled()

    implicitHeight: 46
    color: Theme.bar
    Accessible.role: Accessible.ToolBar
    Accessible.name: "Toolbar"

    AppMenuBar {
        anchors { left: parent.left; leftMargin: bar.isNarrow ? 4 : 11; verticalCenter: parent.verticalCenter }
        menus: bar.menus
    }
    Row {
        anchors { right: parent.right; rightMargin: bar.isNarrow ? 4 : 20; verticalCenter: parent.verticalCenter }
        spacing: bar.isNarrow ? 2 : 8

        AppIconButton {
            objectName: "addReader"
            symbol: "plus-circle"
            symbolSize: 18
            text: "Add Reader"
            toolTip: "Add Reader"
            onClicked: bar.addRequested()
        }
        AppIconButton {
            readonly property bool isPinned: bar.windowManager.isOnTop

            objectName: "pin"
            symbol: isPinned ? "pin-fill" : "pin"
            symbolSize: 17
            text: "Pin"
            toolTip: isPinned ? "Stop floating above other windows"
                              : bar.windowManager.canFloat ? "Float above all other windows"
                                                           : "Show the cards alone; this desktop lets no window float"
            onClicked: {
                bar.windowManager.isOnTop = !bar.windowManager.isOnTop
                bar.windowManager.applyPinState()
            }
        }
        AppIconButton {
            objectName: "globalSettings"
            symbol: "gear"
            symbolSize: 17
            text: "Settings"
            toolTip: "Global Settings"
            onClicked: bar.settingsRequested()
        }
        AppIconButton {
            id: toolsButton

            objectName: "tools"
            symbol: "wrench-screwdriver"
            symbolSize: 17
            text: "Tools"
            toolTip: "Tallyrig"
            hasOpened: bar.tools?.visible ?? false
            Accessible.role: Accessible.ButtonMenu
            onClicked: bar.tools.opened ? bar.tools.close() : bar.tools.popup(toolsButton, 0, height + 4)
        }
        AppIconButton {
            objectName: "about"
            symbol: "info-circle"
            symbolSize: 17
            text: "About"
            toolTip: bar.app.aboutIsOpen ? "Close About" : "About Tallyrig"
            onClicked: bar.aboutToggled()
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
