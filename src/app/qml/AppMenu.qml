import QtQuick
import QtQuick.Templates as T
import Tallyrig

// A field that opens a list of texts to choose one from, also by typing the beginning of one of its words.
T.ComboBox {
    id: control

    property string accessibleName
    // Milliseconds after which a letter begins a new text.
    property int typingPause: 1000
    // What has been typed without a pause.
    property string typed
    readonly property int at: popup.visible ? highlightedIndex : currentIndex

    // The entry that `text` leads to, the one at `from` first; -1 for none.
    function findEntry(text: string, from: int): int {
        const wanted = text.toLowerCase()
        for (let step = 0; step < count; ++step) {
            const place = (Math.max(0, from) + step) % count
            const entry = textAt(place).toLowerCase()
            if (entry.startsWith(wanted) || entry.includes(" " + wanted)) return place
        }
        return -1
    }
    function goTo(place: int) {
        if (place < 0 || place === at) return
        if (!popup.visible) return activated(place)
        while (highlightedIndex < place) incrementCurrentIndex()
        while (highlightedIndex > place) decrementCurrentIndex()
    }
    function typeAhead(text: string) {
        typed += text
        pause.restart()
        const isOneLetter = typed.split("").every(letter => letter === typed[0])
        const place = findEntry(typed, typed.length === 1 ? at + 1 : at)
        goTo(place < 0 && isOneLetter ? findEntry(typed[0], at + 1) : place)
    }
    function take(event: var) {
        const page = { [Qt.Key_PageUp]: -10, [Qt.Key_PageDown]: 10 }[event.key]
        const isText = event.text.length === 1 && event.text > (typed ? "\u001f" : " ") && event.text !== "\u007f"
        const isCommand = event.modifiers & (Qt.ControlModifier | Qt.AltModifier | Qt.MetaModifier)
        event.accepted = !isCommand && (page !== undefined || isText)
        if (!event.accepted) return
        if (page !== undefined) goTo(Math.max(0, Math.min(count - 1, at + page)))
        else typeAhead(event.text)
    }

    implicitWidth: 200
    implicitHeight: Theme.controlHeight
    leftPadding: 10
    rightPadding: 28
    font.family: Theme.fontFamily
    font.pixelSize: Theme.buttonSize
    Accessible.name: accessibleName
    Accessible.description: displayText
    Keys.onPressed: event => take(event)
    // A space within a name opens and chooses nothing.
    Keys.onReleased: event => event.accepted = event.key === Qt.Key_Space && typed !== ""

    Timer {
        id: pause

        interval: control.typingPause
        onTriggered: control.typed = ""
    }

    contentItem: Text {
        text: control.displayText
        textFormat: Text.PlainText
        font: control.font
        color: control.enabled ? Theme.text : Theme.secondaryText
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
    }
    indicator: AppIcon {
        x: control.width - width - 9
        y: Math.round((control.height - height) / 2)
        name: "chevron-down"
        size: 12
        color: Theme.secondaryText
    }
    background: Rectangle {
        radius: Theme.controlRadius
        color: Theme.field
        border.color: Theme.hairline
        opacity: control.enabled ? 1 : 0.6

        FocusRing { control: control }
    }
    delegate: T.ItemDelegate {
        id: item

        required property string modelData
        required property int index

        objectName: "menuEntry"
        width: control.width - 10
        height: 28
        leftPadding: 8
        rightPadding: 8
        text: modelData
        highlighted: control.highlightedIndex === index
        Accessible.name: text

        contentItem: AccentText {
            onAccent: item.highlighted
            text: item.text
            textFormat: Text.PlainText
            font.family: Theme.fontFamily
            font.pixelSize: Theme.buttonSize
            font.weight: control.currentIndex === item.index ? Font.DemiBold : Font.Normal
            verticalAlignment: Text.AlignVCenter
            elide: Text.ElideRight
        }
        background: Rectangle {
            radius: 5
            color: item.highlighted ? Theme.accent : "transparent"
        }
    }
    popup: T.Popup {
        y: control.height + 3
        width: control.width
        height: Math.min(contentItem.implicitHeight + 10, 300, control.Window.height - 16)
        padding: 5
        margins: 8
        onOpened: entries.positionViewAtIndex(control.highlightedIndex, ListView.Center)

        contentItem: ListView {
            id: entries

            clip: true
            implicitHeight: contentHeight
            model: control.popup.visible ? control.delegateModel : null
            currentIndex: control.highlightedIndex
            highlightFollowsCurrentItem: false
            onCurrentIndexChanged: positionViewAtIndex(currentIndex, ListView.Contain)
            boundsBehavior: Flickable.StopAtBounds
            T.ScrollBar.vertical: AppScrollBar {}
        }
        background: Rectangle {
            radius: Theme.controlRadius
            color: Theme.panel
            border.color: Theme.hairline
        }
    }
}
