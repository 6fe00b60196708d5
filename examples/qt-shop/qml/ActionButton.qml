import QtQuick
import QtQuick.Controls

// A button in the shape of the paste button: filled when `highlighted`, without a background when `flat`.
Button {
    id: control

    property real radius: height / 2

    implicitHeight: 48
    horizontalPadding: 16
    font.weight: Font.DemiBold

    Keys.onReturnPressed: event => { if (!event.isAutoRepeat) control.clicked() }
    Keys.onEnterPressed: event => { if (!event.isAutoRepeat) control.clicked() }

    contentItem: Text {
        text: control.text
        font: control.font
        color: control.highlighted ? control.palette.highlightedText : Theme.green
        horizontalAlignment: Text.AlignHCenter; verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
    }

    background: Rectangle {
        readonly property color base: control.highlighted ? control.palette.highlight
                                    : control.flat ? "transparent" : control.palette.button

        radius: control.radius
        color: control.down ? Qt.darker(control.flat ? Theme.greenSoft : base, 1.1)
             : control.hovered ? (control.flat ? Theme.greenSoft : Qt.lighter(base, 1.05)) : base
        border { width: control.visualFocus ? 2 : 0; color: Theme.ink }
    }
}
