import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Corvane
import Juniper

FocusScope {
    id: page

    readonly property string screen: "welcome"

    signal pasted()
    signal browsed()

    Component.onCompleted: (pasteButton.enabled ? pasteButton : browseButton).focus = true

    Rectangle {
        anchors.fill: parent
        color: Theme.paper
    }

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

            PlantPicture {
                Layout.alignment: Qt.AlignHCenter
                Layout.fillHeight: true
                Layout.minimumHeight: 96
                Layout.maximumHeight: 260
                Layout.preferredWidth: height
                product: Products.find(7)
            }

            Phrase {
                Layout.fillWidth: true
                Layout.topMargin: 20
                text: qsTr("Juniper")
                font.pixelSize: 42
                font.weight: Font.DemiBold
                font.letterSpacing: -0.5
                horizontalAlignment: Text.AlignHCenter
                color: Theme.green
            }

            Phrase {
                Layout.fillWidth: true
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

                    anchors.fill: parent
                    anchors.margins: 20
                    spacing: 14

                    Phrase {
                        Layout.fillWidth: true
                        text: qsTr("Coming from a campaign? Paste its link.")
                        horizontalAlignment: Text.AlignHCenter
                    }

                    CorvanePasteButton {
                        id: pasteButton

                        Layout.fillWidth: true
                        implicitHeight: 48
                        highlighted: true
                        font.pixelSize: Theme.normal
                        font.weight: Font.DemiBold

                        onToken: page.pasted()

                        Place { name: "paste button" }
                    }
                }
            }

            ActionButton {
                id: browseButton

                Layout.fillWidth: true
                Layout.topMargin: 10
                text: qsTr("Just browse")
                flat: true

                onClicked: page.browsed()

                Place { name: "browse button" }
            }
        }
    }
}
