import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Juniper

Page {
    id: page

    required property var product
    property string campaign
    /// As the link has it, in percent; empty without one.
    property string discount

    readonly property real percent: Number(discount) > 0 && Number(discount) < 100 ? Number(discount) : 0
    readonly property real price: Math.round(product.price * (100 - percent)) / 100

    title: product.name

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        RowLayout {
            Layout.leftMargin: 8; Layout.rightMargin: Theme.margin; Layout.topMargin: 4
            spacing: 4

            ActionButton {
                id: backButton

                implicitWidth: 48
                flat: true
                focus: true
                Accessible.name: qsTr("Back")
                onClicked: page.StackView.view.pop()

                contentItem: Item {
                    Picture { anchors.centerIn: parent; width: 16; height: 16; name: "back"; mirror: backButton.mirrored }
                }
            }

            ShopText {
                text: qsTr("All plants")
                color: Theme.muted
                maximumLineCount: 1
            }
        }

        Flickable {
            Layout.fillWidth: true; Layout.fillHeight: true
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

                    Picture {
                        anchors.centerIn: parent
                        width: parent.height - 32; height: width
                        name: page.product.picture
                    }
                }

                // The campaign that the user came from, and what it offers.
                Rectangle {
                    Layout.fillWidth: true
                    visible: page.campaign !== "" || page.percent > 0
                    implicitHeight: banner.implicitHeight + 24
                    radius: 14
                    color: Theme.claySoft

                    RowLayout {
                        id: banner

                        anchors { fill: parent; leftMargin: 16; rightMargin: 16 }
                        spacing: 12

                        ShopText {
                            text: page.campaign === "" ? qsTr("With your link") : page.campaign
                            color: Theme.clay
                            font.weight: Font.DemiBold
                            maximumLineCount: 2
                        }

                        ShopText {
                            Layout.fillWidth: false
                            visible: page.percent > 0
                            text: qsTr("%1% off").arg(page.percent.toLocaleString(Qt.locale(), "g", 3))
                            color: Theme.clay
                        }
                    }
                }

                ShopText {
                    text: page.product.name
                    font { pixelSize: 26; weight: Font.DemiBold }
                }

                ShopText {
                    Layout.topMargin: -14
                    text: page.product.latin
                    font.italic: true
                    color: Theme.muted
                }

                ShopText {
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
            Layout.fillWidth: true; Layout.maximumWidth: Theme.widestColumn
            Layout.margins: 14; Layout.leftMargin: Theme.margin; Layout.rightMargin: Theme.margin
            spacing: 16

            ColumnLayout {
                Layout.fillWidth: true; Layout.minimumWidth: implicitWidth
                spacing: 0

                ShopText {
                    visible: page.percent > 0
                    text: Theme.price(page.product.price)
                    font { pixelSize: Theme.small; strikeout: true }
                    color: Theme.muted
                    maximumLineCount: 1
                }

                ShopText {
                    text: Theme.price(page.price)
                    font { pixelSize: Theme.title; weight: Font.DemiBold }
                    maximumLineCount: 1
                }
            }

            ActionButton {
                Layout.fillWidth: true
                Layout.minimumWidth: 96; Layout.preferredWidth: 190; Layout.maximumWidth: 190
                text: thanks.running ? qsTr("Thank you") : qsTr("Buy")
                highlighted: true
                onClicked: {
                    thanks.restart()
                    Shop.buy(page.price)
                }

                Timer { id: thanks; interval: 2000 }
            }
        }
    }
}
