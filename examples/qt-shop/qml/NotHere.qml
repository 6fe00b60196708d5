import QtQuick
import QtQuick.Layouts

// For a link to something that the shop does not have.
FocusScope {
    id: page

    required property string path

    readonly property string screen: "not here " + path

    signal back()

    Rectangle {
        anchors.fill: parent
        color: Theme.paper
    }

    ColumnLayout {
        anchors.centerIn: parent
        width: Math.min(parent.width - 2 * Theme.margin, Theme.widestColumn)
        height: Math.min(parent.height - 2 * Theme.margin, implicitHeight)
        spacing: 10

        PlantPicture {
            Layout.alignment: Qt.AlignHCenter
            Layout.fillHeight: true
            Layout.minimumHeight: 0
            Layout.maximumHeight: implicitHeight
            Layout.preferredWidth: height
            implicitHeight: 130
            product: ({ shape: "sprout", leaf: "#8aa888", pot: "#c9b49a" })
        }

        Phrase {
            Layout.fillWidth: true
            text: qsTr("Nothing grows here")
            font.pixelSize: Theme.title
            font.weight: Font.DemiBold
            horizontalAlignment: Text.AlignHCenter
        }

        Phrase {
            Layout.fillWidth: true
            text: qsTr("The link leads to a page that the shop does not have:")
            color: Theme.muted
            horizontalAlignment: Text.AlignHCenter
        }

        Phrase {
            Layout.fillWidth: true
            text: page.path
            maximumLineCount: 3
            wrapMode: Text.WrapAnywhere
            horizontalAlignment: Text.AlignHCenter
        }

        ActionButton {
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: 10
            Layout.preferredWidth: 190
            text: qsTr("See all plants")
            highlighted: true
            focus: true

            onClicked: page.back()
        }
    }
}
