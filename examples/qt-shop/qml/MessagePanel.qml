import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Juniper

// What the library's callbacks reported: a strip with the newest message, which opens to all of them and to a
// field for a link.
Rectangle {
    id: panel

    property bool isOpen: false
    readonly property var messages: Shop.messages.length > 0 ? Shop.messages : [qsTr("Nothing yet")]

    implicitHeight: strip.height + (isOpen ? body.implicitHeight + 12 : 0)
    color: Theme.card
    clip: true

    Behavior on implicitHeight {
        NumberAnimation { duration: 160; easing.type: Easing.OutCubic }
    }

    Rectangle {
        z: 1
        width: parent.width; height: 1
        color: Theme.line
    }

    ActionButton {
        id: strip

        width: parent.width; height: 56
        horizontalPadding: Theme.margin
        flat: true
        radius: 0
        Accessible.name: title.text
        onClicked: panel.isOpen = !panel.isOpen

        contentItem: RowLayout {
            spacing: 12

            ColumnLayout {
                spacing: 1

                ShopText {
                    id: title

                    text: qsTr("What the library told the shop")
                    font { pixelSize: Theme.small; weight: Font.DemiBold }
                    color: Theme.green
                    maximumLineCount: 1
                }

                ShopText {
                    visible: !panel.isOpen
                    text: panel.messages[0]
                    font.pixelSize: Theme.small
                    color: Theme.muted
                    maximumLineCount: 1
                }
            }

            Picture {
                Layout.preferredWidth: 16; Layout.preferredHeight: 16; Layout.rightMargin: -1
                name: "open"
                rotation: panel.isOpen ? 180 : 0
            }
        }
    }

    ColumnLayout {
        id: body

        anchors.top: strip.bottom
        x: Theme.margin
        width: parent.width - 2 * Theme.margin
        visible: panel.isOpen
        spacing: 12

        ListView {
            Layout.fillWidth: true
            Layout.rightMargin: -12  // where the scroll bar is
            Layout.preferredHeight: 168
            clip: true
            spacing: 8
            boundsBehavior: Flickable.StopAtBounds
            model: panel.messages

            ScrollBar.vertical: ScrollBar {}

            delegate: ShopText {
                required property string modelData

                width: body.width
                text: modelData
                font.pixelSize: Theme.small
                color: Shop.messages.length > 0 ? Theme.ink : Theme.muted
                maximumLineCount: 4
            }
        }

        RowLayout {
            spacing: 8

            TextField {
                id: field

                Layout.fillWidth: true
                implicitHeight: 44
                leftPadding: 16; rightPadding: 16
                horizontalAlignment: TextInput.AlignLeft
                placeholderText: qsTr("Open a link")
                inputMethodHints: Qt.ImhUrlCharactersOnly
                selectByMouse: true
                onAccepted: open.clicked()

                background: Rectangle {
                    radius: height / 2
                    color: field.palette.window
                    border { width: field.activeFocus ? 2 : 1; color: field.activeFocus ? Theme.green : Theme.line }
                }
            }

            ActionButton {
                id: open

                implicitHeight: 44
                text: qsTr("Open")
                enabled: field.text.trim() !== ""
                highlighted: enabled
                onClicked: {
                    Shop.openLink(field.text)
                    field.clear()
                }
            }
        }
    }
}
