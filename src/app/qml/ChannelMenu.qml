import QtQuick
import Tallyrig

// A menu of a device's channels, which count from 1 for the user. `selected` and `chosen` count from 0.
AppMenu {
    id: control

    required property int channels
    required property int selected

    signal chosen(int channel)

    enabled: channels > 0
    model: Array.from({ length: channels }, (unused, channel) => "Channel " + (channel + 1))
    currentIndex: selected
    displayText: "Channel " + (selected + 1)
    onActivated: index => control.chosen(index)
}
