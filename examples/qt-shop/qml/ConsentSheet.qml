import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Juniper

// The question for consent. It stays open until it is answered.
Popup {
    id: sheet

    readonly property int radius: 24

    function answer(isGranted) {
        Shop.answerConsent(isGranted)
        close()
    }

    parent: Overlay.overlay
    x: (parent.width - width) / 2
    y: parent.height - height + radius  // The lower corners are below the window.
    width: Math.min(parent.width, Theme.widestColumn)
    height: implicitHeight  // A popup of Qt 6.4 does not grow by itself when its text wraps.
    modal: true; focus: true
    closePolicy: Popup.NoAutoClose
    padding: 24; bottomPadding: 28 + radius

    Overlay.modal: Rectangle { color: Qt.rgba(0.08, 0.14, 0.11, 0.45) }

    background: Rectangle { radius: sheet.radius; color: Theme.card }

    contentItem: ColumnLayout {
        spacing: 8

        ShopText {
            text: qsTr("May we count this visit?")
            font { pixelSize: Theme.title; weight: Font.DemiBold }
        }

        ShopText {
            text: qsTr("It shows us which campaigns bring people here. The shop is the same for you either way.")
            color: Theme.muted
        }

        RowLayout {
            Layout.topMargin: 16
            spacing: 12

            ActionButton {
                Layout.fillWidth: true; Layout.preferredWidth: 1
                text: qsTr("No thanks")
                onClicked: sheet.answer(false)
            }

            ActionButton {
                Layout.fillWidth: true; Layout.preferredWidth: 1
                text: qsTr("Agree")
                highlighted: true
                onClicked: sheet.answer(true)
            }
        }
    }

    enter: Transition {
        NumberAnimation { property: "opacity"; from: 0; to: 1; duration: 160 }
    }
}
