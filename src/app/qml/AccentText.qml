import QtQuick
import Tallyrig

// A text that turns white where it stands on the accent colour, with an edge where that is too light for white letters.
Text {
    property bool onAccent: false
    property color plainColor: Theme.text

    color: onAccent ? "white" : plainColor
    style: onAccent ? Theme.accentStyle : Text.Normal
    styleColor: Theme.accentEdge
}
