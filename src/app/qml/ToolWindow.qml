import QtQml
import QtQuick
import Tallyrig

// A tool window beside the wall, while it stands open. The one element within it is its contents, an item that is made
// at each opening and fills the window; its `property size minimumSize`, if it has one, is the least size of a window
// that may be sized. An Escape that the contents do not accept closes it.
Instantiator {
    id: tool

    required property WindowManager windowManager
    required property string windowId
    required property string title
    required property size contentSize
    // The window keeps its contents' size; otherwise that is the least one, unless the contents name another.
    property bool isFixed: false
    default property Component content: null

    active: content !== null && windowManager.openWindows.includes(windowId)
    delegate: Window {
        id: frame

        readonly property size least: !tool.isFixed && body.item?.minimumSize || tool.contentSize

        objectName: tool.windowId
        title: tool.title
        width: tool.contentSize.width
        height: tool.contentSize.height
        minimumWidth: least.width
        minimumHeight: least.height
        maximumWidth: tool.isFixed ? least.width : 16777215
        maximumHeight: tool.isFixed ? least.height : 16777215
        // It can be closed and not minimised.
        flags: Qt.Window | Qt.CustomizeWindowHint | Qt.WindowTitleHint | Qt.WindowSystemMenuHint
               | Qt.WindowCloseButtonHint | (tool.isFixed ? 0 : Qt.WindowMaximizeButtonHint)
        color: Theme.window
        // For Qt's own file dialog, where the desktop offers none.
        palette {
            window: Theme.window
            windowText: Theme.text
            base: Theme.field
            text: Theme.text
            placeholderText: Theme.secondaryText
            button: Theme.panel
            buttonText: Theme.text
            light: Theme.panel
            midlight: Theme.selectionFill
            mid: Theme.hairline
            dark: Theme.secondaryText
            highlight: Theme.selectionFill
            highlightedText: Theme.text
        }
        visible: true
        onClosing: tool.windowManager.dismissWindow(tool.windowId)

        // Not a shortcut, which would come before an open list that Escape closes.
        FocusScope {
            anchors.fill: parent
            focus: true
            Keys.onEscapePressed: tool.windowManager.dismissWindow(tool.windowId)

            Loader {
                id: body

                anchors.fill: parent
                focus: true
                sourceComponent: tool.content
            }
        }
        ToolWindowFrameReset {
            windowManager: tool.windowManager
            windowId: tool.windowId
            contentSize: tool.contentSize
        }
    }

    readonly property Connections calls: Connections {
        target: tool.windowManager

        function onWindowCalled(id: string) {
            if (id !== tool.windowId || !tool.object) return
            tool.object.raise()
            tool.object.requestActivate()
        }
    }
}
