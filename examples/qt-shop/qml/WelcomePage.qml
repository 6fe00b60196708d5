import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Corvane
import Juniper

Page {
    id: page

    function leave(hasPasted) {
        Shop.finishWelcome(hasPasted)
        StackView.view.replace("CataloguePage.qml")
    }

    title: qsTr("Welcome")

    Component.onCompleted: (pasteButton.enabled ? pasteButton : browseButton).focus = true

    Flickable {
        anchors.fill: parent
        contentHeight: Math.max(height, column.implicitHeight + 2 * Theme.margin)
        boundsBehavior: Flickable.StopAtBounds
        clip: true

        ScrollBar.vertical: ScrollBar {}

        ColumnLayout {
            id: column

            anchors.horizontalCenter: parent.horizontalCenter
            y: Theme.margin
            width: Math.min(parent.width - 2 * Theme.margin, Theme.widestColumn)
            height: parent.height - 2 * Theme.margin
            spacing: 0

            Item { Layout.fillHeight: true }

            Picture {
                Layout.alignment: Qt.AlignHCenter
                Layout.fillHeight: true
                Layout.minimumHeight: 96; Layout.preferredHeight: 100; Layout.maximumHeight: 260
                Layout.preferredWidth: height
                name: "juniper"
            }

            ShopText {
                Layout.topMargin: 20
                text: qsTr("Juniper")
                font { pixelSize: 42; weight: Font.DemiBold; letterSpacing: -0.5 }
                horizontalAlignment: Text.AlignHCenter
                color: Theme.green
            }

            ShopText {
                Layout.topMargin: 4
                text: qsTr("A small shop for plants, and for the people who forget to water them.")
                color: Theme.muted
                horizontalAlignment: Text.AlignHCenter
            }

            Item { Layout.fillHeight: true; Layout.minimumHeight: 20 }

            Rectangle {
                Layout.fillWidth: true
                implicitHeight: offer.implicitHeight + 40
                radius: Theme.radius
                color: Theme.card
                border.color: Theme.line

                ColumnLayout {
                    id: offer

                    anchors { fill: parent; margins: 20 }
                    spacing: 14

                    ShopText {
                        text: qsTr("Coming from a campaign? Paste its link.")
                        horizontalAlignment: Text.AlignHCenter
                    }

                    CorvanePasteButton {
                        id: pasteButton

                        Layout.fillWidth: true
                        implicitHeight: 48
                        highlighted: true
                        font.weight: Font.DemiBold
                        onToken: page.leave(true)
                    }
                }
            }

            ActionButton {
                id: browseButton

                Layout.fillWidth: true
                Layout.topMargin: 10
                text: qsTr("Just browse")
                flat: true
                onClicked: page.leave(false)
            }
        }
    }
}
