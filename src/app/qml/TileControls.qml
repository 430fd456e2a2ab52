import QtQuick
import Tallyrig

// The row in a card's top right corner: what the lesser modes have no room for elsewhere, then the card's buttons.
Row {
    id: controls

    required property ReaderInstance reader
    required property string rateText
    required property bool showingSettings

    readonly property string hex: reader.backgroundColorHex
    readonly property string mode: reader.displayMode

    signal modeRequested()
    signal settingsRequested()
    signal removeRequested()

    objectName: "controls"
    spacing: 4

    Loader {
        active: controls.mode !== "full"
        visible: active
        height: 24

        sourceComponent: Row {
            spacing: 4

            Rectangle {
                objectName: "warningIcon"
                visible: controls.reader.sourceAvailabilityWarning !== ""
                width: 20
                height: 20
                anchors.verticalCenter: parent.verticalCenter
                radius: 5
                color: Theme.warningPlate
                Accessible.role: Accessible.AlertMessage
                Accessible.name: controls.reader.sourceAvailabilityWarning

                AppIcon {
                    anchors.centerIn: parent
                    name: "warning-triangle"
                    size: 12
                    color: Theme.warningAmber
                }
                HoverHandler { id: warningHover }
                HoverToolTip {
                    hovered: warningHover.hovered
                    text: controls.reader.sourceAvailabilityWarning || "Source unavailable"
                }
            }
            Chip {
                objectName: "rateChip"
                padding: 4
                anchors.verticalCenter: parent.verticalCenter
                text: controls.rateText
                textColor: CardColours.text(controls.hex, 0.72, 0.12)
                color: CardColours.foreground(controls.hex, 0.12)
            }
        }
    }
    TileButton {
        objectName: "modeButton"
        symbol: controls.mode === "full" ? "compress-vertical" : controls.mode === "compact" ? "swap" : "expand-vertical"
        hex: controls.hex
        text: "View mode"
        toolTip: controls.mode === "full" ? "Switch to compact view"
                                          : controls.mode === "compact" ? "Switch to minimal view" : "Switch to full view"
        onClicked: controls.modeRequested()
    }
    TileButton {
        objectName: "settingsButton"
        symbol: "gear-fill"
        hex: controls.hex
        isOn: controls.showingSettings
        text: "Settings"
        onClicked: controls.settingsRequested()
    }
    TileButton {
        objectName: "removeButton"
        width: 16
        symbol: "xmark-circle"
        symbolSize: 15
        hex: controls.hex
        symbolOpacity: 0.5
        fillOpacity: 0
        text: "Remove"
        onClicked: controls.removeRequested()
    }
}
