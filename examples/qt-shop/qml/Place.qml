import QtQuick
import Juniper

// Narrates where its parent is in the window: when it has been shown and is at rest, and again when it has moved.
Item {
    id: place

    required property string name
    property string narrated

    function text() {
        const corner = mapToItem(null, 0, 0)
        return [corner.x, corner.y, width, height].map(Math.round).join(" ")
    }

    anchors.fill: parent

    Connections {
        target: Narrator.enabled && place.visible ? place.Window.window : null

        function onFrameSwapped() {
            if (place.text() !== place.narrated) rest.restart()
        }
    }

    Timer {
        id: rest

        interval: 80
        onTriggered: {
            place.narrated = place.text()
            Narrator.say(place.name + " at " + place.narrated)
        }
    }
}
