import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The question for consent. It waits for an answer: closing it would be none.
Popup {
    id: sheet

    signal answered(bool isGranted)

    parent: Overlay.overlay
    x: (parent.width - width) / 2
    y: parent.height - height
    width: Math.min(parent.width, Theme.widestColumn)
    // Named, as a popup of Qt 6.4 does not grow by itself when its text wraps.
    height: implicitHeight
    modal: true
    focus: true
    closePolicy: Popup.NoAutoClose
    padding: 24
    bottomPadding: 28

    onAnswered: close()

    Overlay.modal: Rectangle {
        color: Qt.rgba(0.08, 0.14, 0.11, 0.45)
    }

    background: Item {
        clip: true

        Rectangle {
            width: parent.width
            // Its lower corners are below the window.
            height: parent.height + radius
            radius: 24
            color: Theme.card
        }
    }

    contentItem: ColumnLayout {
        spacing: 8

        Phrase {
            Layout.fillWidth: true
            text: qsTr("May we count this visit?")
            font.pixelSize: Theme.title
            font.weight: Font.DemiBold
        }

        Phrase {
            Layout.fillWidth: true
            text: qsTr("It shows us which campaigns bring people here. The shop is the same for you either way.")
            color: Theme.muted
        }

        RowLayout {
            Layout.fillWidth: true
            Layout.topMargin: 16
            spacing: 12

            ActionButton {
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                text: qsTr("No thanks")

                onClicked: sheet.answered(false)

                Place { name: "no thanks button" }
            }

            ActionButton {
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                text: qsTr("Agree")
                highlighted: true

                onClicked: sheet.answered(true)

                Place { name: "agree button" }
            }
        }
    }

    enter: Transition {
        NumberAnimation { property: "opacity"; from: 0; to: 1; duration: 160 }
    }
    exit: Transition {
        NumberAnimation { property: "opacity"; from: 1; to: 0; duration: 120 }
    }
}
