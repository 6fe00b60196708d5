import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

FocusScope {
    id: page

    readonly property string screen: "catalogue"

    signal chosen(var product)

    Rectangle {
        anchors.fill: parent
        color: Theme.paper
    }

    GridView {
        id: grid

        readonly property int gap: 12
        readonly property int columns: Math.max(2, Math.floor(width / 220))

        anchors.fill: parent
        anchors.leftMargin: Theme.margin - gap / 2
        anchors.rightMargin: Theme.margin - gap / 2
        cellWidth: Math.floor(width / columns)
        cellHeight: cellWidth + 44
        topMargin: 4
        bottomMargin: Theme.margin
        clip: true
        focus: true
        boundsBehavior: Flickable.StopAtBounds
        model: Products.all

        // Whoever uses the arrow keys sees where they are, as with Tab.
        Keys.onReleased: currentItem.focusReason = Qt.TabFocusReason

        ScrollBar.vertical: ScrollBar {}

        header: Item {
            width: grid.width
            height: heading.implicitHeight + 32

            ColumnLayout {
                id: heading

                anchors.verticalCenter: parent.verticalCenter
                x: grid.gap / 2
                width: parent.width - grid.gap
                spacing: 2

                Phrase {
                    Layout.fillWidth: true
                    text: qsTr("Juniper")
                    font.pixelSize: Theme.display
                    font.weight: Font.DemiBold
                    font.letterSpacing: -0.5
                    color: Theme.green
                }

                Phrase {
                    Layout.fillWidth: true
                    text: qsTr("Six plants, looked after until they leave.")
                    color: Theme.muted
                }
            }
        }

        delegate: ProductCard {
            required property int index
            required property var modelData

            width: grid.cellWidth
            height: grid.cellHeight
            gap: grid.gap
            product: modelData

            onClicked: page.chosen(product)
            onActiveFocusChanged: if (activeFocus) grid.currentIndex = index
        }
    }
}
