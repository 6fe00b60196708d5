pragma Singleton
import QtQuick

// What the pages use beside the palette in qtquickcontrols2.conf.
QtObject {
    readonly property color card: "#fffefb"
    readonly property color line: "#e2ddd0"
    readonly property color ink: "#22312a"
    readonly property color muted: "#5d6a63"
    readonly property color green: "#2f5d4a"
    readonly property color greenSoft: "#e1eae2"
    readonly property color clay: "#9c5230"
    readonly property color claySoft: "#f5e6da"

    readonly property int margin: 20
    readonly property int radius: 18
    readonly property int widestColumn: 480

    readonly property int small: 13
    readonly property int title: 20
    readonly property int display: 30

    /// A price in euros as text.
    function price(euros) {
        return euros.toLocaleCurrencyString(Qt.locale(), "€")
    }
}
