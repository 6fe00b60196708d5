import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// A product in the catalogue, with its share of the gaps around it.
AbstractButton {
    id: card

    required property var product
    property int gap: 12

    topInset: gap / 2
    bottomInset: gap / 2
    leftInset: gap / 2
    rightInset: gap / 2
    padding: 8 + gap / 2
    focusPolicy: Qt.StrongFocus
    Accessible.name: qsTr("%1, %2").arg(product.name).arg(Theme.price(product.price))

    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()

    contentItem: ColumnLayout {
        spacing: 2

        Rectangle {
            Layout.fillWidth: true
            Layout.fillHeight: true
            radius: 12
            color: card.product.tint

            PlantPicture {
                anchors.centerIn: parent
                width: Math.min(parent.width, parent.height) - 12
                height: width
                product: card.product
            }
        }

        Phrase {
            Layout.fillWidth: true
            Layout.leftMargin: 4
            Layout.rightMargin: 4
            Layout.topMargin: 6
            text: card.product.name
            font.weight: Font.DemiBold
            maximumLineCount: 1
        }

        Phrase {
            Layout.fillWidth: true
            Layout.leftMargin: 4
            Layout.rightMargin: 4
            Layout.bottomMargin: 4
            text: Theme.price(card.product.price)
            color: Theme.muted
            maximumLineCount: 1
        }
    }

    background: Rectangle {
        radius: Theme.radius
        color: card.down ? Theme.greenSoft : Theme.card
        border.width: card.visualFocus ? 2 : 1
        border.color: card.visualFocus || card.hovered ? Theme.green : Theme.line
    }
}
