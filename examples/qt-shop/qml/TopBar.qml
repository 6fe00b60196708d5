import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The head of a page that was opened from another.
RowLayout {
    id: bar

    property string title

    signal back()

    spacing: 4

    AbstractButton {
        id: backButton

        implicitWidth: 48
        implicitHeight: 48
        focus: true
        Accessible.name: qsTr("Back")

        onClicked: bar.back()
        Keys.onReturnPressed: clicked()
        Keys.onEnterPressed: clicked()

        contentItem: Item {
            Chevron {
                anchors.centerIn: parent
                rotation: backButton.mirrored ? 90 : -90
            }
        }

        background: Rectangle {
            radius: width / 2
            color: backButton.down || backButton.hovered ? Theme.greenSoft : "transparent"
            border.width: backButton.visualFocus ? 2 : 0
            border.color: Theme.green
        }
    }

    Phrase {
        Layout.fillWidth: true
        text: bar.title
        color: Theme.muted
        maximumLineCount: 1
    }
}
