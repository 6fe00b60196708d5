import QtQuick
import QtQuick.Controls
import Corvane

ApplicationWindow {
    id: window

    property string path: "/"

    width: 390
    height: 780
    visible: true

    Column {
        anchors.centerIn: parent
        spacing: 16

        Label { text: "You are at " + window.path }
        CorvanePasteButton { onToken: text => console.log("pasted", text.length, "characters") }
    }
}
