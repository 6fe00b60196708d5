pragma Singleton
import QtQuick

QtObject {
    readonly property var all: [
        {
            id: 1, name: qsTr("Monstera"), latin: "Monstera deliciosa", price: 34, shape: "fan",
            leaf: "#3f7a5a", tint: "#e3ebdf", pot: "#c98f6b",
            about: qsTr("Large, split leaves that unroll one by one. It likes a bright corner and forgives a week without water.")
        },
        {
            id: 2, name: qsTr("Snake plant"), latin: "Dracaena trifasciata", price: 19.5, shape: "blades",
            leaf: "#567d4f", tint: "#efe8d8", pot: "#7f8f94",
            about: qsTr("Upright and unhurried. It grows in the shade of a hallway as well as on a sill, and asks for very little.")
        },
        {
            id: 3, name: qsTr("Rubber fig"), latin: "Ficus elastica", price: 27, shape: "pairs",
            leaf: "#2f5f4f", tint: "#e4e7e6", pot: "#d3b48c",
            about: qsTr("Glossy, dark leaves on a straight stem. Wipe them now and then, and turn the pot towards the light.")
        },
        {
            id: 4, name: qsTr("Sword fern"), latin: "Nephrolepis exaltata", price: 16, shape: "fronds",
            leaf: "#6a9a5b", tint: "#e6eee0", pot: "#b5785a",
            about: qsTr("A fountain of soft fronds for a bathroom or a north window. Keep its soil moist, and it keeps the air so.")
        },
        {
            id: 5, name: qsTr("String of pearls"), latin: "Curio rowleyanus", price: 14.5, shape: "beads",
            leaf: "#7ba276", tint: "#eee6e0", pot: "#a9a39a",
            about: qsTr("Round leaves on long threads, made for a high shelf. Water it rarely, and never from above.")
        },
        {
            id: 7, name: qsTr("Common juniper"), latin: "Juniperus communis", price: 24, shape: "conifer",
            leaf: "#3d6b5c", tint: "#e0e8e9", pot: "#8d6e5a",
            about: qsTr("The plant that we are named after: evergreen, slow, and hardy enough for the windiest balcony.")
        }
    ]

    /// The product of that id; undefined where there is none.
    function find(id) {
        return all.find(product => product.id === id)
    }
}
