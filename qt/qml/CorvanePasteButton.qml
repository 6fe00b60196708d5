import QtQuick
import QtQuick.Controls
import Corvane.Internal

// A button that passes the clipboard's text to the library, which tracks the install with the click token in that
// text, if there is one. Then the button emits `token` with the text.
//
//     CorvanePasteButton { onToken: text => stack.push(home) }
//
// The button reads the clipboard once, when it is pressed (pointer, Space or Enter). Before that it reads only the
// list of formats, and is disabled when the clipboard offers no text. It uses the application's palette and font and
// the paddings of its style, in the shape of a capsule. `text` and every other property of Button may be set. A host
// that sets `enabled` includes `canPaste` in its binding.
Button {
    id: control

    /// Whether the clipboard offers text.
    readonly property bool canPaste: source.canPaste

    /// Emitted with the whole pasted text, after the library has started to track the install.
    signal token(string text)

    text: qsTr("Paste")
    display: AbstractButton.TextOnly
    enabled: canPaste
    leftPadding: Math.round(implicitHeight / 2)
    rightPadding: leftPadding
    implicitHeight: Math.max(implicitContentHeight + topPadding + bottomPadding, 40)

    Accessible.role: Accessible.Button
    Accessible.name: control.text
    Accessible.onPressAction: if (control.enabled) control.clicked()

    onClicked: source.paste()
    Keys.onReturnPressed: event => { if (!event.isAutoRepeat) control.clicked() }
    Keys.onEnterPressed: event => { if (!event.isAutoRepeat) control.clicked() }

    contentItem: Text {
        text: control.text
        textFormat: Text.PlainText
        font: control.font
        opacity: control.enabled ? 1 : 0.4
        color: control.highlighted ? control.palette.highlightedText : control.palette.buttonText
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
    }

    background: Rectangle {
        readonly property color base: control.highlighted ? control.palette.highlight : control.palette.button

        radius: height / 2
        opacity: control.enabled ? 1 : 0.4
        color: control.down ? Qt.darker(base, 1.2) : control.hovered ? Qt.lighter(base, 1.05) : base
        border.width: control.visualFocus ? 2 : 1
        border.color: control.visualFocus ? control.palette.text : Qt.darker(base, 1.2)
    }

    PasteSource {
        id: source
        onToken: text => control.token(text)
    }
}
