import QtQuick
import QtQuick.Window

// One of the shop's pictures, loaded at the size at which it is shown.
Image {
    required property string name

    source: "pictures/" + name + ".png"
    sourceSize: Qt.size(width * Screen.devicePixelRatio, height * Screen.devicePixelRatio)
}
