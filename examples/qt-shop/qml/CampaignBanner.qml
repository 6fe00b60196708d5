import QtQuick
import QtQuick.Layouts

// Where the user came from, above the product that the campaign is about.
Rectangle {
    id: banner

    required property string campaign
    required property string offer

    implicitHeight: row.implicitHeight + 24
    radius: 14
    color: Theme.claySoft

    RowLayout {
        id: row

        anchors.fill: parent
        anchors.leftMargin: 16
        anchors.rightMargin: 16
        spacing: 12

        Phrase {
            Layout.fillWidth: true
            text: banner.campaign === "" ? qsTr("With your link") : banner.campaign
            color: Theme.clay
            font.weight: Font.DemiBold
            maximumLineCount: 2
        }

        Phrase {
            Layout.maximumWidth: banner.width / 2
            visible: text !== ""
            text: banner.offer
            color: Theme.clay
            maximumLineCount: 1
        }
    }
}
