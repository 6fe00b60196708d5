import QtQuick
import QtQuick.Controls
import Juniper

ApplicationWindow {
    id: window

    function showCatalogue() {
        if (stack.depth > 1) stack.pop(null)
        else if (stack.currentItem instanceof WelcomePage) stack.replace("CataloguePage.qml")
    }

    // Shows a page above the catalogue, in place of the one that is there.
    function show(page, properties) {
        if (stack.depth > 1) {
            stack.replace(stack.get(1), page, properties)
        } else {
            showCatalogue()
            stack.push(page, properties)
        }
    }

    // The paths of campaign links: /offers/7, /products/7, /products/evergreens/7.
    function openPath(path, campaign, discount) {
        const parts = path.match(/^\/(?:offers|products)\/(?:[^?#]*\/)?(\d+)\/?(?:[?#].*)?$/)
        const product = parts && Shop.products.find(product => product.id === Number(parts[1]))
        if (product) show("ProductPage.qml", { product, campaign, discount })
        else if (path === "/") showCatalogue()
        else show("NotFoundPage.qml", { path })
    }

    function reportPage() {
        Shop.report("page " + stack.currentItem.title)
    }

    width: 390; height: 780
    minimumWidth: 300; minimumHeight: 560
    visible: true
    title: qsTr("Juniper")

    LayoutMirroring.enabled: Qt.application.layoutDirection === Qt.RightToLeft
    LayoutMirroring.childrenInherit: true

    footer: MessagePanel {}

    Shortcut {
        sequences: [StandardKey.Back, "Escape"]
        enabled: stack.depth > 1
        onActivated: stack.pop()
    }

    Connections {
        target: Shop

        function onLinkArrived(path, campaign, discount) {
            if (!Shop.isWelcomed()) Shop.finishWelcome(false)
            window.openPath(path, campaign, discount)
        }
    }

    Transition {
        id: fadeIn
        NumberAnimation { property: "opacity"; from: 0; to: 1; duration: 160 }
    }

    StackView {
        id: stack

        anchors.fill: parent
        focus: true
        initialItem: Shop.isWelcomed() ? "CataloguePage.qml" : "WelcomePage.qml"
        pushEnter: fadeIn
        pushExit: null
        popEnter: fadeIn
        popExit: null
        replaceEnter: fadeIn
        replaceExit: null

        onCurrentItemChanged: if (currentItem) currentItem.focus = true
        onBusyChanged: if (!busy) window.reportPage()
        Component.onCompleted: window.reportPage()
    }

    ConsentSheet {
        Component.onCompleted: if (Shop.asksForConsent()) open()
    }
}
