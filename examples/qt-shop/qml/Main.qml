import QtQuick
import QtQuick.Controls
import Juniper

ApplicationWindow {
    id: window

    function showCatalogue() {
        if (stack.depth > 1) stack.pop(null)
        else if (stack.currentItem.screen !== "catalogue") stack.replace(null, catalogue)
    }

    // Above the catalogue, in the place of what was there.
    function show(page, properties) {
        if (stack.depth > 1) {
            stack.replace(stack.get(1), page, properties)
        } else {
            showCatalogue()
            stack.push(page, properties)
        }
    }

    // The routes that campaigns use: /offers/7, /products/7, /products/evergreens/7.
    function follow(path, campaign, discount) {
        const route = path.match(/^\/(?:offers|products)\/(?:[^?#]*\/)?(\d+)\/?(?:[?#].*)?$/)
        const product = route ? Products.find(Number(route[1])) : undefined
        if (product !== undefined) show(productPage, { product, campaign, discount })
        else if (path === "/") showCatalogue()
        else show(notHere, { path })
    }

    width: 390
    height: 780
    minimumWidth: 300
    minimumHeight: 560
    visible: true
    title: qsTr("Juniper")
    color: Theme.paper

    LayoutMirroring.enabled: Qt.application.layoutDirection === Qt.RightToLeft
    LayoutMirroring.childrenInherit: true

    palette {
        window: Theme.paper
        windowText: Theme.ink
        base: Theme.card
        text: Theme.ink
        placeholderText: Theme.muted
        button: Theme.greenSoft
        buttonText: Theme.green
        highlight: Theme.green
        highlightedText: Theme.card
    }

    footer: ToldPanel {}

    Shortcut {
        sequences: [StandardKey.Back, "Escape"]
        enabled: stack.depth > 1
        onActivated: stack.pop()
    }

    Connections {
        target: Shop

        function onLinkArrived(path, campaign, discount) {
            // Who follows a link is past the welcome.
            if (!Shop.isWelcomed) Shop.browse()
            window.follow(path, campaign, discount)
        }
    }

    StackView {
        id: stack

        anchors.fill: parent
        focus: true
        initialItem: Shop.isWelcomed ? catalogue : welcome

        onCurrentItemChanged: {
            if (!currentItem) return
            currentItem.focus = true
            Narrator.say("screen " + currentItem.screen)
        }

        pushEnter: fadeIn
        pushExit: stay
        popEnter: asItWas
        popExit: fadeOut
        replaceEnter: fadeIn
        replaceExit: stay
    }

    Transition {
        id: fadeIn
        NumberAnimation { property: "opacity"; from: 0; to: 1; duration: 160 }
    }

    Transition {
        id: fadeOut
        NumberAnimation { property: "opacity"; from: 1; to: 0; duration: 160 }
    }

    // A link may have covered a page before it had appeared.
    Transition {
        id: asItWas
        PropertyAction { property: "opacity"; value: 1 }
    }

    // Below the page that appears.
    Transition {
        id: stay
        PauseAnimation { duration: 160 }
    }

    Component {
        id: welcome

        Welcome {
            onPasted: {
                Shop.finishWelcome()
                window.showCatalogue()
            }
            onBrowsed: {
                Shop.browse()
                window.showCatalogue()
            }
        }
    }

    Component {
        id: catalogue

        Catalogue {
            onChosen: product => stack.push(productPage, { product })
        }
    }

    Component {
        id: productPage

        ProductPage {
            onBack: stack.pop()
            onBought: price => Shop.buy(price)
        }
    }

    Component {
        id: notHere

        NotHere {
            onBack: stack.pop()
        }
    }

    ConsentSheet {
        id: consent

        onAnswered: isGranted => Shop.answerConsent(isGranted)
    }

    Component.onCompleted: {
        if (Shop.asksForConsent) consent.open()
    }
}
