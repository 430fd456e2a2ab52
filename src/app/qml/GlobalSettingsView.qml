import QtQuick
import Tallyrig

// What holds for all cards, and for the program's look.
UtilityWindow {
    id: settings

    required property ReaderStore store
    property bool confirmingClearAll: false

    objectName: "settingsWindow"
    title: "Settings"
    width: 360
    height: 400

    Column {
        x: 24
        y: 24
        width: parent.width - 48
        spacing: 16

        Text {
            text: "Settings"
            color: Theme.text
            font.pixelSize: 17
            font.weight: Font.DemiBold
        }
        SettingsGroup {
            width: parent.width
            title: "Appearance"

            AppearanceChoice {
                width: parent.width
                focus: true
                store: settings.store
            }
        }
        SettingsGroup {
            width: parent.width
            title: "Tile Size"

            SegmentedChoice {
                choices: ["Small", "Medium", "Large"]
                current: settings.store.globalTileSize
                segmentWidth: (parent.width - 12) / 3
                accessibleName: "Tile Size"
                onChosen: choice => settings.store.globalTileSize = choice
            }
        }
        SettingsGroup {
            width: parent.width
            title: "Readers"

            AppDestructiveButton {
                objectName: "clearAll"
                symbol: "trash"
                text: "Clear All Readers"
                onClicked: settings.confirmingClearAll = true
            }
        }
    }
    Loader {
        active: settings.confirmingClearAll
        sourceComponent: ClearAllConfirmation {
            transientParent: settings
            onCancelled: settings.confirmingClearAll = false
            onConfirmed: {
                settings.confirmingClearAll = false
                settings.store.clearAllReaders()
            }
        }
    }
}
