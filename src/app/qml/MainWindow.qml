import QtQuick
import QtQuick.Templates as T
import Tallyrig

// The program's one main window, its menus, and the questions that it asks.
Window {
    id: window

    required property TallyrigApp app
    required property ReaderStore store
    required property TimecodeRenderClock renderClock
    required property SettingsForms forms
    required property SoundServerWatch soundServer
    required property Appearance appearance

    title: "Tallyrig"
    width: 1080
    height: 700
    minimumWidth: metrics.minimumWidth
    minimumHeight: metrics.minimumHeight
    color: Theme.window
    visible: true
    onVisibleChanged: if (visible) app.mainWindowAppeared()

    GridMetrics {
        id: metrics

        store: window.store
    }
    Binding {
        target: Theme
        property: "dark"
        value: window.appearance.dark
    }
    Shortcut {
        sequence: "Ctrl+Q"
        context: Qt.ApplicationShortcut
        onActivated: window.app.requestQuit()
    }
    ReaderGridView {
        anchors.fill: parent
        focus: true
        store: window.store
        renderClock: window.renderClock
        forms: window.forms
        tileMinimumWidth: metrics.tileMinimumWidth
        notice: window.soundServer.notice
        menus: [
            AppCommandMenu {
                title: "Tallyrig"

                AppCommand {
                    text: "Quit Tallyrig…"
                    keys: "Ctrl+Q"
                    onTriggered: window.app.requestQuit()
                }
            },
            AppCommandMenu {
                title: "File"

                AppCommand {
                    text: "Clear All Readers"
                    onTriggered: window.app.requestClearAll()
                }
            }
        ]
    }
    Loader {
        active: window.app.confirmingQuit
        sourceComponent: QuitConfirmationView {
            transientParent: window
            onCancelled: window.app.cancelQuit()
            onConfirmed: window.app.confirmQuit()
        }
    }
    Loader {
        active: window.app.confirmingClearAll
        sourceComponent: ClearAllConfirmation {
            transientParent: window
            onCancelled: window.app.cancelClearAll()
            onConfirmed: window.app.confirmClearAll()
        }
    }
}
