import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Juniper

// What the library told the shop: a strip with the newest line, which opens to all of them.
Rectangle {
    id: panel

    property bool isOpen: false

    implicitHeight: strip.height + (isOpen ? body.implicitHeight + 12 : 0)
    color: Theme.card
    clip: true

    Behavior on implicitHeight {
        NumberAnimation { duration: 160; easing.type: Easing.OutCubic }
    }

    Rectangle {
        z: 1
        width: parent.width
        height: 1
        color: Theme.line
    }

    AbstractButton {
        id: strip

        width: parent.width
        height: 56
        leftPadding: Theme.margin
        rightPadding: Theme.margin
        Accessible.name: qsTr("What the library told the shop")

        onClicked: panel.isOpen = !panel.isOpen
        Keys.onReturnPressed: clicked()
        Keys.onEnterPressed: clicked()

        contentItem: RowLayout {
            spacing: 12

            ColumnLayout {
                Layout.fillWidth: true
                spacing: 1

                Phrase {
                    Layout.fillWidth: true
                    text: qsTr("What the library told the shop")
                    font.pixelSize: Theme.small
                    font.weight: Font.DemiBold
                    color: Theme.green
                    maximumLineCount: 1
                }

                Phrase {
                    Layout.fillWidth: true
                    visible: !panel.isOpen
                    text: Shop.told.length > 0 ? Shop.told[0] : qsTr("Nothing yet")
                    font.pixelSize: Theme.small
                    color: Theme.muted
                    maximumLineCount: 1
                }
            }

            Chevron {
                color: Theme.green
                rotation: panel.isOpen ? 180 : 0
            }
        }

        background: Rectangle {
            color: strip.down || strip.hovered ? Theme.greenSoft : "transparent"
            border.width: strip.visualFocus ? 2 : 0
            border.color: Theme.green
        }

        Place { name: "panel" }
    }

    ColumnLayout {
        id: body

        anchors.top: strip.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.leftMargin: Theme.margin
        anchors.rightMargin: Theme.margin
        visible: panel.isOpen
        spacing: 12

        ListView {
            id: lines

            // Room for the scroll bar, on whichever side it is.
            readonly property int gutter: 12

            Layout.fillWidth: true
            Layout.leftMargin: -gutter
            Layout.rightMargin: -gutter
            Layout.preferredHeight: 168
            clip: true
            spacing: 8
            boundsBehavior: Flickable.StopAtBounds
            model: Shop.told

            ScrollBar.vertical: ScrollBar {}

            delegate: Phrase {
                required property string modelData

                x: lines.gutter
                width: lines.width - 2 * lines.gutter
                text: modelData
                font.pixelSize: Theme.small
                maximumLineCount: 4
            }

            Phrase {
                x: lines.gutter
                width: lines.width - 2 * lines.gutter
                visible: lines.count === 0
                text: qsTr("Nothing yet")
                font.pixelSize: Theme.small
                color: Theme.muted
            }
        }

        RowLayout {
            Layout.fillWidth: true
            spacing: 8

            TextField {
                id: field

                Layout.fillWidth: true
                implicitHeight: 44
                leftPadding: 16
                rightPadding: 16
                horizontalAlignment: TextInput.AlignLeft
                placeholderText: qsTr("Open a link")
                font.pixelSize: Theme.normal
                inputMethodHints: Qt.ImhUrlCharactersOnly
                selectByMouse: true

                onAccepted: open.clicked()

                background: Rectangle {
                    radius: height / 2
                    color: Theme.paper
                    border.width: field.activeFocus ? 2 : 1
                    border.color: field.activeFocus ? Theme.green : Theme.line
                }

                Place { name: "link field" }
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
