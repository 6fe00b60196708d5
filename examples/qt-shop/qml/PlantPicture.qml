import QtQuick

// A potted plant, drawn on a field of 100 by 100 from the product's `shape`, `leaf` colour and `pot` colour.
Canvas {
    id: picture

    required property var product

    readonly property color leaf: product.leaf
    readonly property color shade: Qt.darker(leaf, 1.18)
    readonly property color light: Qt.lighter(leaf, 1.18)

    /// A leaf of that length from a point, turned from upright by an angle in degrees.
    function drawLeaf(ctx, x, y, angle, length, breadth, colour) {
        ctx.save()
        ctx.translate(x, y)
        ctx.rotate(angle * Math.PI / 180)
        ctx.beginPath()
        ctx.moveTo(0, 0)
        ctx.bezierCurveTo(-breadth, -length * 0.3, -breadth * 0.7, -length * 0.8, 0, -length)
        ctx.bezierCurveTo(breadth * 0.7, -length * 0.8, breadth, -length * 0.3, 0, 0)
        ctx.fillStyle = colour
        ctx.fill()
        ctx.restore()
    }

    function drawStem(ctx, fromX, fromY, bendX, bendY, toX, toY, thickness) {
        ctx.beginPath()
        ctx.moveTo(fromX, fromY)
        ctx.quadraticCurveTo(bendX, bendY, toX, toY)
        ctx.lineWidth = thickness
        ctx.lineCap = "round"
        ctx.strokeStyle = shade
        ctx.stroke()
    }

    function drawDisc(ctx, x, y, radius, colour) {
        ctx.beginPath()
        ctx.arc(x, y, radius, 0, 2 * Math.PI)
        ctx.fillStyle = colour
        ctx.fill()
    }

    function drawPot(ctx) {
        ctx.fillStyle = product.pot
        ctx.beginPath()
        ctx.moveTo(33, 72)
        ctx.lineTo(67, 72)
        ctx.lineTo(62.5, 94)
        ctx.quadraticCurveTo(62, 97, 59, 97)
        ctx.lineTo(41, 97)
        ctx.quadraticCurveTo(38, 97, 37.5, 94)
        ctx.closePath()
        ctx.fill()
        ctx.fillStyle = Qt.darker(product.pot, 1.12)
        ctx.beginPath()
        ctx.roundedRect(31, 68, 38, 7, 2, 2)
        ctx.fill()
    }

    function drawBlades(ctx) {
        const blades = [[-24, 40], [22, 44], [-12, 54], [13, 58], [0, 64]]
        blades.forEach(([angle, length], i) =>
            drawLeaf(ctx, 50 + angle * 0.35, 71, angle * 0.7, length, 6.5, i % 2 ? leaf : shade))
        blades.slice(2).forEach(([angle, length]) =>
            drawLeaf(ctx, 50 + angle * 0.35, 70, angle * 0.7, length * 0.86, 2, light))
    }

    // Leaves that end long stems, each with its ribs.
    function drawFan(ctx) {
        const tips = [[24, 52, -82], [76, 50, 80], [31, 31, -42], [70, 28, 40], [51, 21, -2]]
        tips.forEach(([x, y, angle], i) => {
            drawStem(ctx, 50, 70, 50, y + 12, x, y, 1.4)
            ctx.save()
            ctx.translate(x, y)
            ctx.rotate(angle * Math.PI / 180)
            drawHeart(ctx, i % 2 ? leaf : shade)
            ctx.restore()
        })
    }

    function drawHeart(ctx, colour) {
        ctx.beginPath()
        ctx.moveTo(0, 3)
        ctx.bezierCurveTo(-6, 9, -17, 5, -15, -5)
        ctx.bezierCurveTo(-13, -13, -5, -15, 0, -21)
        ctx.bezierCurveTo(5, -15, 13, -13, 15, -5)
        ctx.bezierCurveTo(17, 5, 6, 9, 0, 3)
        ctx.fillStyle = colour
        ctx.fill()
        ctx.strokeStyle = light
        ctx.lineWidth = 0.8
        ctx.beginPath()
        ctx.moveTo(0, 3)
        ctx.lineTo(0, -16)
        for (const side of [-1, 1]) {
            for (const rib of [0, -5, -10]) {
                ctx.moveTo(0, rib)
                ctx.lineTo(side * (10 + rib * 0.5), rib - 2)
            }
        }
        ctx.stroke()
    }

    function drawPairs(ctx) {
        drawStem(ctx, 50, 70, 51, 45, 50, 22, 1.8)
        for (let i = 0; i < 4; ++i) {
            const y = 64 - i * 11
            const length = 27 - i * 2.5
            drawLeaf(ctx, 50, y, -62 + i * 7, length, 10 - i, shade)
            drawLeaf(ctx, 50, y - 5, 60 - i * 7, length, 10 - i, leaf)
        }
        drawLeaf(ctx, 50, 24, 2, 19, 6, light)
    }

    function drawFronds(ctx) {
        const ends = [[10, 66], [90, 66], [13, 44], [87, 44], [25, 24], [75, 24], [40, 14], [60, 14], [50, 10]]
        ends.forEach(([x, y], i) => drawFrond(ctx, x, y, i % 3 === 0 ? shade : leaf))
    }

    // Leaflets on both sides of an arched stem.
    function drawFrond(ctx, endX, endY, colour) {
        const bendX = 50 + (endX - 50) * 0.45
        const bendY = Math.min(endY, 50) - 6
        drawStem(ctx, 50, 70, bendX, bendY, endX, endY, 0.9)
        for (let t = 0.2; t <= 1.001; t += 0.08) {
            const x = (1 - t) * (1 - t) * 50 + 2 * t * (1 - t) * bendX + t * t * endX
            const y = (1 - t) * (1 - t) * 70 + 2 * t * (1 - t) * bendY + t * t * endY
            const slopeX = 2 * (1 - t) * (bendX - 50) + 2 * t * (endX - bendX)
            const slopeY = 2 * (1 - t) * (bendY - 70) + 2 * t * (endY - bendY)
            const angle = Math.atan2(slopeX, -slopeY) * 180 / Math.PI
            const length = 9.5 - 6 * t
            drawLeaf(ctx, x, y, angle - 62, length, 2, colour)
            drawLeaf(ctx, x, y, angle + 62, length, 2, colour)
        }
    }

    // A hanging pot: the cords, and what falls over its rim.
    function drawBeads(ctx) {
        const strands = [[30, 46], [35, 33], [41, 17], [59, 22], [65, 36], [70, 50]]
        drawStem(ctx, 33, 66, 40, 52, 50, 28, 0.8)
        drawStem(ctx, 67, 66, 60, 52, 50, 28, 0.8)
        for (let x = 34; x <= 66; x += 4) {
            drawDisc(ctx, x, 66 - 3 * Math.sin((x - 34) / 32 * Math.PI), 3.1, x % 8 === 2 ? shade : leaf)
        }
        for (let x = 38; x <= 62; x += 4) drawDisc(ctx, x, 61 - 2 * Math.sin((x - 38) / 24 * Math.PI), 2.7, leaf)
        strands.forEach(([x, length], i) => {
            const away = (x - 50) * 0.12
            for (let y = 0; y <= length; y += 4.4)
                drawDisc(ctx, x + away * (1 - y / 60), 69 + y, 2.6, (i + Math.round(y)) % 3 ? leaf : light)
        })
    }

    // Whorls of needles from the top down, each over the one above, and the berries between them.
    function drawConifer(ctx) {
        drawStem(ctx, 50, 71, 50, 50, 50, 20, 2.4)
        drawLeaf(ctx, 50, 22, 0, 15, 2.6, leaf)
        for (let row = 0; row < 13; ++row) {
            const y = 22 + row * 3.9
            const length = 7 + row * 1.15
            const colour = [leaf, shade, light][row % 3]
            for (const angle of [-82, 82, -60, 60, -34, 34, -10, 10])
                drawLeaf(ctx, 50 + Math.sin(angle * Math.PI / 180) * row * 0.75, y, angle, length, 2.2, colour)
        }
        for (const [x, y] of [[40, 57], [59, 61], [55, 46], [45, 40], [52, 30], [33, 66], [67, 67]])
            drawDisc(ctx, x, y, 2.2, "#53659b")
    }

    function drawSprout(ctx) {
        drawStem(ctx, 50, 70, 51, 60, 50, 48, 1.6)
        drawLeaf(ctx, 50, 50, -55, 18, 7, leaf)
        drawLeaf(ctx, 50, 49, 50, 21, 7, shade)
    }

    implicitWidth: 100
    implicitHeight: 100
    // A plant leans the same way in every language.
    LayoutMirroring.enabled: false

    onProductChanged: requestPaint()
    onPaint: {
        const ctx = getContext("2d")
        ctx.reset()
        ctx.scale(width / 100, height / 100)
        const plants = {
            blades: drawBlades, fan: drawFan, pairs: drawPairs, fronds: drawFronds, conifer: drawConifer,
            sprout: drawSprout
        }
        const hangs = product.shape === "beads"
        if (hangs) ctx.translate(0, -25)
        else plants[product.shape](ctx)
        drawPot(ctx)
        if (hangs) drawBeads(ctx)
    }
}
