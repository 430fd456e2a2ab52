import QtQuick
import Tallyrig

// The program's one main window.
Window {
    id: window

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
    // The saved cards start when the window first stands; asking again does nothing.
    onVisibleChanged: if (visible) Qt.callLater(store.startSavedReaders)

    GridMetrics {
        id: metrics

        store: window.store
    }
    Binding {
        target: Theme
        property: "dark"
        value: window.appearance.dark
    }
    ReaderGridView {
        anchors.fill: parent
        focus: true
        store: window.store
        renderClock: window.renderClock
        forms: window.forms
        tileMinimumWidth: metrics.tileMinimumWidth
        notice: window.soundServer.notice
    }
}
