import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Juniper

FocusScope {
    id: page

    required property var product
    property string campaign
    /// As the link has it, in percent; empty without one.
    property string discount

    readonly property string screen: "product " + product.id
    readonly property real percent: Number(discount) > 0 && Number(discount) < 100 ? Number(discount) : 0
    readonly property real price: Math.round(product.price * (100 - percent)) / 100

    signal back()
    signal bought(real price)

    Rectangle {
        anchors.fill: parent
        color: Theme.paper
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        TopBar {
            Layout.fillWidth: true
            Layout.leftMargin: 8
            Layout.rightMargin: Theme.margin
            Layout.topMargin: 4
            title: qsTr("All plants")

            onBack: page.back()
        }

        Flickable {
            Layout.fillWidth: true
            Layout.fillHeight: true
            contentHeight: column.height + Theme.margin
            boundsBehavior: Flickable.StopAtBounds
            clip: true

            ScrollBar.vertical: ScrollBar {}

            ColumnLayout {
                id: column

                anchors.horizontalCenter: parent.horizontalCenter
                width: Math.min(parent.width - 2 * Theme.margin, Theme.widestColumn)
                spacing: 16

                Rectangle {
                    Layout.fillWidth: true
                    implicitHeight: Math.min(width * 0.8, 320)
                    radius: Theme.radius
                    color: page.product.tint

                    PlantPicture {
                        anchors.centerIn: parent
                        width: parent.height - 32
                        height: width
                        product: page.product
                    }
                }

                CampaignBanner {
                    Layout.fillWidth: true
                    visible: page.campaign !== "" || page.percent > 0
                    campaign: page.campaign
                    offer: page.percent > 0 ? qsTr("%1% off").arg(page.percent.toLocaleString(Qt.locale(), "g", 3)) : ""
                }

                ColumnLayout {
                    Layout.fillWidth: true
                    spacing: 2

                    Phrase {
                        Layout.fillWidth: true
                        text: page.product.name
                        font.pixelSize: 26
                        font.weight: Font.DemiBold
                    }

                    Phrase {
                        Layout.fillWidth: true
                        text: page.product.latin
                        font.italic: true
                        color: Theme.muted
                    }
                }

                Phrase {
                    Layout.fillWidth: true
                    text: page.product.about
                    lineHeight: 1.3
                }
            }
        }

        Rectangle {
            Layout.fillWidth: true
            implicitHeight: 1
            color: Theme.line
        }

        RowLayout {
            Layout.alignment: Qt.AlignHCenter
            Layout.fillWidth: true
            Layout.maximumWidth: Theme.widestColumn
            Layout.margins: 14
            Layout.leftMargin: Theme.margin
            Layout.rightMargin: Theme.margin
            spacing: 16

            ColumnLayout {
                Layout.fillWidth: true
                Layout.minimumWidth: implicitWidth
                spacing: 0

                Phrase {
                    Layout.fillWidth: true
                    visible: page.percent > 0
                    text: Theme.price(page.product.price)
                    font.pixelSize: Theme.small
                    font.strikeout: true
                    color: Theme.muted
                    maximumLineCount: 1
                }

                Phrase {
                    Layout.fillWidth: true
                    text: Theme.price(page.price)
                    font.pixelSize: Theme.title
                    font.weight: Font.DemiBold
                    maximumLineCount: 1
                }
            }

            ActionButton {
                id: buyButton

                Layout.fillWidth: true
                Layout.minimumWidth: 96
                Layout.preferredWidth: 190
                Layout.maximumWidth: 190
                text: qsTr("Buy")
                highlighted: true

                onClicked: {
                    text = qsTr("Thank you")
                    thanks.restart()
                    page.bought(page.price)
                }

                Timer {
                    id: thanks

                    interval: 2000
                    onTriggered: buyButton.text = qsTr("Buy")
                }

                Place { name: "buy button" }
            }
        }
    }
}
