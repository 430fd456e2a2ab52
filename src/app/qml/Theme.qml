pragma Singleton

import QtQuick
import Tallyrig

// Colours, type sizes and distances that the views share. `dark` follows the program's appearance.
QtObject {
    property bool dark: false

    readonly property color accent: dark ? Qt.rgba(0.39, 0.64, 0.84, 1) : Qt.rgba(0.2, 0.4, 0.59, 1)
    readonly property color destructive: dark ? Qt.rgba(0.94, 0.38, 0.36, 1) : Qt.rgba(0.72, 0.18, 0.17, 1)
    readonly property color selectionFill: dark ? Qt.rgba(0.205, 0.24, 0.28, 1) : Qt.rgba(0.865, 0.91, 0.94, 1)
    readonly property color hairline: dark ? Qt.rgba(1, 1, 1, 0.25) : Qt.rgba(0, 0, 0, 0.25)

    readonly property color window: dark ? "#16181c" : "#e9ebef"
    readonly property color bar: dark ? "#1c1f24" : "#f7f8fa"
    readonly property color panel: dark ? "#23272d" : "#fbfcfd"
    readonly property color field: dark ? "#16191d" : "#ffffff"
    readonly property color text: dark ? "#f1f3f6" : "#1a1c20"
    readonly property color secondaryText: dark ? "#a7aeb9" : "#555c67"
    readonly property color shadow: dark ? Qt.rgba(0, 0, 0, 0.5) : Qt.rgba(0.1, 0.12, 0.16, 0.2)
    readonly property color noticeFill: dark ? "#3a2e12" : "#fdf0d0"
    readonly property color noticeText: dark ? "#ffcf66" : "#6b4700"

    // Around white letters on an accent, which is too light for them in the dark appearance.
    readonly property color accentEdge: dark ? Qt.rgba(0.04, 0.1, 0.16, 0.8) : "transparent"
    readonly property int accentStyle: dark ? Text.Outline : Text.Normal

    // Of the cards, whatever the appearance.
    readonly property color jamOrange: Qt.rgba(1, 0.55, 0, 1)
    readonly property color signalGreen: Qt.rgba(0.2, 0.85, 0.4, 1)
    readonly property color idleRed: Qt.rgba(0.8, 0.2, 0.2, 1)
    readonly property color warningAmber: Qt.rgba(1, 0.7, 0, 1)
    // Under amber text on a card, so that it reads on every card colour.
    readonly property color warningPlate: Qt.rgba(0.07, 0.07, 0.07, 0.8)

    readonly property string fontFamily: Qt.application.font.family
    readonly property string monospacedFamily: AppFonts.monospacedFamily
    readonly property int cardTitleSize: 13
    readonly property int captionSize: 11
    readonly property int sectionLabelSize: 11
    readonly property int chipSize: 10
    readonly property int buttonSize: 13

    readonly property int gridSpacing: 16
    readonly property int cardPadding: 16
    readonly property int controlRadius: 7
    readonly property int controlHeight: 30

    // The text colour as the fill of a quiet control.
    function fill(opacity: real): color {
        return Qt.rgba(text.r, text.g, text.b, opacity)
    }
}
