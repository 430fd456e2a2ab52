import QtQuick
import Tallyrig

// The face of one card. Holds no timecode logic: everything comes from the card.
Item {
    id: tile

    required property ReaderInstance reader
    required property ReaderStore store
    required property TimecodeRenderClock renderClock
    required property JamPulse jamPulse
    // False while the card is scrolled out of sight; what runs in it then stands.
    property bool inSight: true
    // While its settings are open.
    property bool showingSettings: false

    readonly property string hex: reader.backgroundColorHex
    readonly property string mode: reader.displayMode
    readonly property color statusColor: reader.isJammed ? Theme.jamOrange
                                                         : reader.isReceiving ? Theme.signalGreen : Theme.idleRed
    readonly property string statusText: {
        if (reader.isJammed) return reader.jamSyncState
        if (reader.cardRole === "Generator") return reader.isReceiving ? "GENERATING" : "STOPPED"
        if (!reader.isReceiving) return "NO SIGNAL"
        return reader.sourceType === "MTC" ? "RECEIVING" : "LOCKED"
    }
    readonly property int digitSize: reader.tileSize === "Small" ? 22 : reader.tileSize === "Large" ? 48 : 32
    readonly property int rateSize: Math.round(digitSize * 0.42)

    signal settingsRequested()
    signal removeRequested()

    objectName: "tile"
    implicitHeight: card.implicitHeight
    // What changes seldom is the card's name, in every mode; the running code is told by the digits.
    Accessible.role: Accessible.Grouping
    Accessible.name: reader.label + ", " + statusText

    Item {
        id: card

        anchors.fill: parent
        implicitHeight: stack.implicitHeight

        CardSurface {
            id: surface

            objectName: "surface"
            anchors.fill: parent
            anchors.margins: -3
            color: CardColours.background(tile.hex)
            lineColor: tile.statusColor

            Behavior on lineColor {
                ColorAnimation { duration: 300; easing.type: Easing.InOutQuad }
            }
        }
        // The same colour between the corners, where the digits run: nothing has to be blended there.
        Rectangle {
            anchors { fill: parent; topMargin: 3; bottomMargin: 3; leftMargin: 25; rightMargin: 25 }
            visible: color.a === 1
            color: surface.color
        }
        Column {
            id: stack

            width: parent.width

            Item {
                // Left clear for the controls, and as much more as they need.
                readonly property int room: Math.max(tile.mode === "full" ? 84 : 138,
                                                     controls.width + 8 + 3 - Theme.cardPadding)

                width: parent.width
                height: title.implicitHeight + (tile.mode === "minimal" ? 8 : 16) + (tile.mode === "minimal" ? 0 : 4)

                Text {
                    id: title

                    objectName: "label"
                    x: Theme.cardPadding
                    y: tile.mode === "minimal" ? 8 : 16
                    width: Math.max(0, parent.width - 2 * Theme.cardPadding - parent.room)
                    text: tile.reader.label
                    textFormat: Text.PlainText
                    color: CardColours.foreground(tile.hex, 1)
                    font.pixelSize: Theme.cardTitleSize
                    font.weight: Font.DemiBold
                    elide: Text.ElideRight
                    maximumLineCount: 1

                    HoverHandler { id: titleHover }
                    HoverToolTip {
                        hovered: titleHover.hovered && title.truncated
                        text: tile.reader.label
                    }
                }
            }
            Column {
                width: parent.width
                topPadding: 8
                bottomPadding: 8
                spacing: tile.mode === "minimal" ? 0 : 4

                Item {
                    anchors.horizontalCenter: parent.horizontalCenter
                    implicitWidth: digits.implicitWidth
                    implicitHeight: digits.implicitHeight

                    TimecodeDigits {
                        id: digits

                        objectName: "digits"
                        visible: tile.inSight
                        reader: tile.reader
                        renderClock: tile.renderClock
                        pixelSize: tile.digitSize
                        color: CardColours.foreground(tile.hex, hasTimecode ? 1 : 0.3)
                        Accessible.role: Accessible.StaticText
                        Accessible.name: spokenText
                    }
                }
                Text {
                    objectName: "rate"
                    anchors.horizontalCenter: parent.horizontalCenter
                    visible: tile.mode === "full"
                    text: digits.rateText
                    color: Qt.rgba(digits.color.r, digits.color.g, digits.color.b, digits.color.a * 0.7)
                    font.pixelSize: tile.rateSize
                    font.weight: Font.DemiBold
                }
            }
            Loader {
                width: parent.width
                active: tile.mode === "full"
                visible: active
                sourceComponent: TileDetails {
                    reader: tile.reader
                    inSight: tile.inSight
                }
            }
            Rectangle {
                visible: tile.mode !== "minimal"
                width: parent.width
                height: 1
                color: CardColours.foreground(tile.hex, 0.1)
            }
            Loader {
                width: parent.width
                active: tile.mode !== "minimal"
                visible: active
                sourceComponent: TileFooter {
                    reader: tile.reader
                    statusText: tile.statusText
                    statusColor: surface.lineColor
                    pulse: tile.reader.isJammed && tile.inSight ? tile.jamPulse.phase : 1
                }
            }
        }
        TileControls {
            id: controls

            anchors { top: parent.top; right: parent.right; margins: 8 }
            reader: tile.reader
            rateText: digits.rateText
            showingSettings: tile.showingSettings
            onModeRequested: tile.store.cycleDisplayMode(tile.reader)
            onSettingsRequested: tile.settingsRequested()
            onRemoveRequested: tile.removeRequested()
        }
    }
}
