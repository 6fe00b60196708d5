import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Juniper

Page {
    id: page

    title: qsTr("All plants")

    GridView {
        id: grid

        readonly property int gap: 12
        readonly property int columns: Math.max(2, Math.floor(width / 220))

        anchors { fill: parent; leftMargin: Theme.margin - gap / 2; rightMargin: Theme.margin - gap / 2 }
        cellWidth: Math.floor(width / columns); cellHeight: cellWidth + 44
        topMargin: 4; bottomMargin: Theme.margin
        clip: true
        focus: true
        boundsBehavior: Flickable.StopAtBounds
        model: Shop.products

        // The arrow keys show the focus, as Tab does.
        Keys.onReleased: currentItem.focusReason = Qt.TabFocusReason

        ScrollBar.vertical: ScrollBar {}

        header: ColumnLayout {
            width: grid.width
            spacing: 2

            ShopText {
                Layout.leftMargin: grid.gap / 2; Layout.rightMargin: grid.gap / 2; Layout.topMargin: 16
                text: qsTr("Juniper")
                font { pixelSize: Theme.display; weight: Font.DemiBold; letterSpacing: -0.5 }
                color: Theme.green
            }

            ShopText {
                Layout.leftMargin: grid.gap / 2; Layout.rightMargin: grid.gap / 2; Layout.bottomMargin: 16
                text: qsTr("Six plants, looked after until they leave.")
                color: Theme.muted
            }
        }

        delegate: AbstractButton {
            id: card

            required property int index
            required property var modelData

            width: grid.cellWidth; height: grid.cellHeight
            topInset: grid.gap / 2; bottomInset: grid.gap / 2
            leftInset: grid.gap / 2; rightInset: grid.gap / 2
            padding: 8 + grid.gap / 2
            focusPolicy: Qt.StrongFocus
            Accessible.name: qsTr("%1, %2").arg(modelData.name).arg(Theme.price(modelData.price))

            onClicked: page.StackView.view.push("ProductPage.qml", { product: modelData })
            onActiveFocusChanged: if (activeFocus) grid.currentIndex = index
            Keys.onReturnPressed: clicked()
            Keys.onEnterPressed: clicked()

            contentItem: ColumnLayout {
                spacing: 2

                Rectangle {
                    Layout.fillWidth: true; Layout.fillHeight: true
                    radius: 12
                    color: card.modelData.tint

                    Picture {
                        anchors.centerIn: parent
                        width: Math.min(parent.width, parent.height) - 12; height: width
                        name: card.modelData.picture
                    }
                }

                ShopText {
                    Layout.margins: 4; Layout.topMargin: 6; Layout.bottomMargin: 0
                    text: card.modelData.name
                    font.weight: Font.DemiBold
                    maximumLineCount: 1
                }

                ShopText {
                    Layout.margins: 4; Layout.topMargin: 0
                    text: Theme.price(card.modelData.price)
                    color: Theme.muted
                    maximumLineCount: 1
                }
            }

            background: Rectangle {
                radius: Theme.radius
                color: card.down ? Theme.greenSoft : Theme.card
                border { width: card.visualFocus ? 2 : 1; color: card.visualFocus || card.hovered ? Theme.green : Theme.line }
            }
        }
    }
}
