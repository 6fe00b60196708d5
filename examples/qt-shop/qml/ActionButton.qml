import QtQuick
import QtQuick.Controls

// A pill beside the paste button: filled when `highlighted`, bare when `flat`.
Button {
    id: control

    implicitHeight: 48
    leftPadding: 16
    rightPadding: 16
    font.pixelSize: Theme.normal
    font.weight: Font.DemiBold

    Keys.onReturnPressed: event => { if (!event.isAutoRepeat) control.clicked() }
    Keys.onEnterPressed: event => { if (!event.isAutoRepeat) control.clicked() }

    contentItem: Text {
        text: control.text
        font: control.font
        color: control.highlighted ? control.palette.highlightedText : Theme.green
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
    }

    background: Rectangle {
        readonly property color base: control.highlighted ? control.palette.highlight
                                    : control.flat ? "transparent" : control.palette.button

        radius: height / 2
        color: control.down ? Qt.darker(control.flat ? Theme.greenSoft : base, 1.1)
             : control.hovered ? (control.flat ? Theme.greenSoft : Qt.lighter(base, 1.05)) : base
        border.width: control.visualFocus ? 2 : 0
        border.color: Theme.ink
    }
}
