import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// For a link to a page that the shop does not have.
Page {
    id: page

    required property string path

    title: qsTr("Nothing grows here")

    ColumnLayout {
        anchors.centerIn: parent
        width: Math.min(parent.width - 2 * Theme.margin, Theme.widestColumn)
        height: Math.min(parent.height - 2 * Theme.margin, implicitHeight)
        spacing: 10

        Picture {
            Layout.alignment: Qt.AlignHCenter
            Layout.fillHeight: true
            Layout.minimumHeight: 0; Layout.preferredHeight: 130; Layout.maximumHeight: 130
            Layout.preferredWidth: height
            name: "sprout"
        }

        ShopText {
            text: page.title
            font { pixelSize: Theme.title; weight: Font.DemiBold }
            horizontalAlignment: Text.AlignHCenter
        }

        ShopText {
            text: qsTr("The link leads to a page that the shop does not have:")
            color: Theme.muted
            horizontalAlignment: Text.AlignHCenter
        }

        ShopText {
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
            onClicked: page.StackView.view.pop()
        }
    }
}
