import QtQuick
import QtQuick.Templates as T
import Tallyrig

// The program's one main window, its menus, and the questions that it asks.
Window {
    id: window

    required property TallyrigApp app
    required property WindowManager windowManager
    required property ReaderStore store
    required property TimecodeRenderClock renderClock
    required property SettingsForms forms
    required property SoundServerWatch soundServer
    required property Appearance appearance
    required property MediaPlayers mediaPlayers
    required property FileTools fileTools

    title: "Tallyrig"
    width: 1080
    height: 700
    minimumWidth: metrics.minimumWidth
    minimumHeight: metrics.minimumHeight
    color: windowManager.isOnTop ? "transparent" : Theme.window
    // A window that stands open already comes to the front.
    function openSettings() {
        app.settingsIsOpen = true
        bringForward(settings.item)
    }
    function openAbout() {
        app.aboutIsOpen = true
        bringForward(about.item)
    }
    function bringForward(other: Window) {
        other.raise()
        other.requestActivate()
    }

    onVisibleChanged: if (visible) app.mainWindowAppeared()

    GridMetrics {
        id: metrics

        store: window.store
        pinned: window.windowManager.isOnTop
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
    Shortcut {
        sequence: "Ctrl+,"
        context: Qt.ApplicationShortcut
        onActivated: window.openSettings()
    }
    Shortcut {
        sequence: "Escape"
        enabled: window.windowManager.isOnTop
        onActivated: window.windowManager.exitPinnedMode()
    }
    ReaderGridView {
        anchors.fill: parent
        focus: true
        app: window.app
        windowManager: window.windowManager
        store: window.store
        renderClock: window.renderClock
        forms: window.forms
        tileMinimumWidth: metrics.tileMinimumWidth
        notice: window.soundServer.notice
        onSettingsRequested: window.openSettings()
        onAboutToggled: window.app.aboutIsOpen = !window.app.aboutIsOpen
        tools: AppCommandMenu {
            title: "Tools"
            // A press on the button that opened it is the button's to answer.
            closePolicy: T.Popup.CloseOnEscape | T.Popup.CloseOnPressOutsideParent
                         | T.Popup.CloseOnReleaseOutsideParent

            AppCommand {
                text: "Generate WAV…"
                enabled: wavGenerator.content !== null
                onTriggered: window.windowManager.openWindow(wavGenerator.windowId)
            }
            AppCommand {
                text: "Analyse File…"
                enabled: fileAnalyser.content !== null
                onTriggered: window.windowManager.openWindow(fileAnalyser.windowId)
            }
            AppCommand {
                text: "Media Player…"
                enabled: mediaPlayer.content !== null
                onTriggered: window.windowManager.openWindow(mediaPlayer.windowId)
            }
        }
        menus: [
            AppCommandMenu {
                title: "Tallyrig"

                AppCommand {
                    text: "About Tallyrig"
                    onTriggered: window.openAbout()
                }
                AppCommand {
                    text: "Settings…"
                    keys: "Ctrl+,"
                    onTriggered: window.openSettings()
                }
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
    Connections {
        target: window.app

        function onToolWindowDismissed(id: string) {
            window.windowManager.dismissWindow(id)
        }
    }
    ToolWindow {
        id: wavGenerator

        windowManager: window.windowManager
        windowId: "wav-generator"
        title: "Generate WAV"
        contentSize: Qt.size(460, 420)
        isFixed: true

        WAVGeneratorView { tools: window.fileTools }
    }
    ToolWindow {
        id: fileAnalyser

        windowManager: window.windowManager
        windowId: "file-analyser"
        title: "Analyse File"
        contentSize: Qt.size(680, 640)

        FileAnalyserView { tools: window.fileTools }
    }
    ToolWindow {
        id: mediaPlayer

        windowManager: window.windowManager
        windowId: "media-player"
        title: "Media Player"
        contentSize: Qt.size(1180, 720)

        FileMediaPlayerView { mediaPlayers: window.mediaPlayers }
    }
    Loader {
        id: settings

        active: window.app.settingsIsOpen
        sourceComponent: GlobalSettingsView {
            transientParent: window
            app: window.app
            store: window.store
            onClosed: window.app.settingsIsOpen = false
        }
    }
    Loader {
        id: about

        active: window.app.aboutIsOpen
        sourceComponent: AboutView {
            transientParent: window
            app: window.app
            onClosed: window.app.aboutIsOpen = false
        }
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
