import QtQuick

// An arrow head that points up, to be rotated.
Item {
    id: chevron

    property color color: Theme.ink

    implicitWidth: 14
    implicitHeight: 14

    Repeater {
        model: [-1, 1]

        Rectangle {
            required property int modelData

            x: chevron.width / 2 + modelData * 3.2 - width / 2
            y: (chevron.height - height) / 2
            width: 11
            height: 2
            radius: 1
            rotation: modelData * 45
            color: chevron.color
            antialiasing: true
        }
    }
}
