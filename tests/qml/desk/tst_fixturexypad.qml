import QtQuick
import QtTest
import "qrc:/"
import "DeskTesting.js" as DeskTesting

TestCase {
    id: testCase

    function init() {
        backend.clearCalls()
    }

    function createPad(properties) {
        const pad = createTemporaryObject(padComponent, testCase, properties)
        verify(pad !== null)
        waitForRendering(pad)
        return pad
    }

    function pairs() {
        return backend.calls.map(call => {
            compare(call.method, "sendOscTyped")
            compare(call.args[0], "/xy")
            compare(call.args[1], "ff")
            return call.args[2]
        })
    }

    // Press at a point (fractions of the pad), drag to another (may lie outside) and release.
    function test_positions_data() {
        return [
            { tag: "top-left corner", from: [0, 0], to: [0, 0], expected: [0, 1] },
            { tag: "bottom-right corner", from: [0.99, 0.99], to: [1, 1], expected: [1, 0] },
            { tag: "quarter along the top", from: [0.25, 0], to: [0.25, 0], expected: [0.25, 1] },
            { tag: "beyond top-left", from: [0.5, 0.5], to: [-0.5, -0.5], expected: [0, 1] },
            { tag: "beyond bottom-right", from: [0.5, 0.5], to: [1.5, 1.5], expected: [1, 0] },
            { tag: "beyond the right edge", from: [0.5, 0.5], to: [3, 0], expected: [1, 1] },
            { tag: "beyond the bottom edge", from: [0.5, 0.5], to: [0.75, 4], expected: [0.75, 0] },
        ]
    }

    function test_positions(data) {
        const pad = createPad({ oscAddress: "/xy" })
        const area = findChild(pad, "padArea")
        mousePress(area, data.from[0] * area.width, data.from[1] * area.height)
        mouseMove(area, data.to[0] * area.width, data.to[1] * area.height)
        mouseRelease(area, data.to[0] * area.width, data.to[1] * area.height)
        const sent = pairs()
        compare(sent.length, 1)
        compare(sent[0], data.expected)
        compare([pad.xValue, pad.yValue], data.expected)
        const knob = findChild(pad, "knob")
        compare(knob.x + knob.width / 2, data.expected[0] * area.width)
        compare(knob.y + knob.height / 2, (1 - data.expected[1]) * area.height)
    }

    function test_pinned_edge_sends_once() {
        const pad = createPad({ oscAddress: "/xy" })
        const area = findChild(pad, "padArea")
        mousePress(area, 0, 0)
        tryVerify(() => backend.calls.length === 1)
        for (const offset of [10, 40, 90]) {
            mouseMove(area, -offset, -offset / 2)
            wait(50)
        }
        mouseRelease(area, -120, -10)
        wait(50)
        compare(pairs(), [[0, 1]])

        mousePress(area, area.width / 2, area.height / 2)
        mouseMove(area, area.width + 30, area.height + 5)
        wait(50)
        mouseMove(area, area.width + 60, area.height + 40)
        wait(50)
        mouseRelease(area, area.width + 60, area.height + 40)
        compare(pairs(), [[0, 1], [1, 0]])
    }

    function test_throttle() {
        const pad = createPad({ oscAddress: "/xy" })
        const area = findChild(pad, "padArea")
        const throttle = findChild(pad, "sendThrottle")
        mousePress(area, 0, area.height - 1)
        for (let i = 1; i <= 10; ++i)
            mouseMove(area, i * area.width / 20, area.height + 5)
        compare(backend.calls.length, 0)
        verify(throttle.running)
        tryVerify(() => backend.calls.length === 1)
        compare(pairs(), [[pad.round3(pad.xValue), 0]])
        wait(100)
        compare(backend.calls.length, 1)
        mouseMove(area, area.width, 0)
        mouseRelease(area, area.width, 0)
        verify(!throttle.running)
        compare(pairs()[1], [1, 1])
        wait(100)
        compare(backend.calls.length, 2)
    }

    function test_rounding_data() {
        return [
            { tag: "third", value: 1 / 3, expected: 0.333 },
            { tag: "two thirds", value: 2 / 3, expected: 0.667 },
            { tag: "half up", value: 0.1235, expected: 0.124 },
        ]
    }

    function test_rounding(data) {
        compare(createPad({}).round3(data.value), data.expected)
    }

    // De-duplication compares the pair after rounding to three decimals.
    function test_rounded_pair_repeats() {
        const pad = createPad({ oscAddress: "/xy" })
        const surface = findChild(pad, "pad")
        const step = surface.width / 10
        pad.moveTo(3 * step, 0)
        pad.noteReleased()
        pad.moveTo(3 * step + surface.width * 0.0002, 0)
        pad.noteReleased()
        pad.moveTo(4 * step, 0)
        pad.noteReleased()
        compare(pairs(), [[0.3, 1], [0.4, 1]])
        compare(pad.lastSent, "0.4,1")
    }

    function test_without_address_sends_nothing() {
        const pad = createPad({ label: "Jog", channel: 6 })
        const area = findChild(pad, "padArea")
        mousePress(area, 0, area.height - 1)
        mouseMove(area, area.width / 4, area.height + 5)
        wait(50)
        mouseRelease(area, area.width / 4, area.height + 5)
        compare(pad.xValue, 0.25)
        compare(pad.yValue, 0)
        compare(findChild(pad, "valueText").text, "x 0.25  y 0.00  ,ff")
        compare(findChild(pad, "caption").text, "Jog 6")
        compare(backend.calls.length, 0)
        compare(pad.lastSent, "")
    }

    name: "FixtureChannelXYPad"
    width: 400
    height: 400
    visible: true
    when: windowShown

    Component {
        id: padComponent

        FixtureChannelXYPad {
            x: 100
            y: 100
            // A pad 200 px wide.
            width: 208
            height: 210
        }
    }
}
