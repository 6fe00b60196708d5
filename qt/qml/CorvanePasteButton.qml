import QtQuick
import QtQuick.Controls
import Corvane.Internal

// A button that hands the clipboard's text to the library, and then to `onToken`: the install is tracked with
// the click token that the text holds, when it holds one.
//
//     CorvanePasteButton { onToken: text => stack.push(home) }
//
// The clipboard is read when the button is pressed, once; until then only the formats on offer are looked at,
// so that the button can look disabled where there is nothing to paste. Pressed by a pointer, Space or Enter. It
// has the application's palette and font and the paddings of its style, in the shape of a capsule; `text` may be
// set, as may everything that a Button has. A host that sets `enabled` itself includes `canPaste`.
Button {
    id: control

    /// Whether the clipboard offers text.
    readonly property bool canPaste: source.canPaste

    /// The pasted text, whole, after the install was started with it.
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
