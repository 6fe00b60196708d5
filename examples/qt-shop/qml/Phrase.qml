import QtQuick

// A text as all pages set it. What it shows may come from a server, so it is never markup.
Text {
    color: Theme.ink
    font.pixelSize: Theme.normal
    lineHeight: 1.15
    // Named, so that it follows the interface's direction and not the text's.
    horizontalAlignment: Text.AlignLeft
    textFormat: Text.PlainText
    wrapMode: Text.Wrap
    elide: Text.ElideRight
}
