import QtQuick
import QtQuick.Layouts

// A text as all pages set it. It may come from a server, so it is never interpreted as markup.
Text {
    Layout.fillWidth: true
    color: Theme.ink
    font.pixelSize: 15
    lineHeight: 1.15
    // Set, so that it follows the direction of the interface and not of the text.
    horizontalAlignment: Text.AlignLeft
    textFormat: Text.PlainText
    wrapMode: Text.Wrap
    elide: Text.ElideRight
}
