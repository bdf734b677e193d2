import QtQuick
import QtTest
import "qrc:/"
import "DeskTesting.js" as DeskTesting

TestCase {
    id: testCase

    function init() {
        backend.clearCalls()
    }

    function createFader(properties) {
        const fader = createTemporaryObject(faderComponent, testCase, properties)
        verify(fader !== null)
        waitForRendering(fader)
        return fader
    }

    function sent() {
        return DeskTesting.describeCalls(backend.calls)
    }

    // The single value each typed "i" send carried.
    function sentInts() {
        return backend.calls.map(call => call.args[2][0])
    }

    function test_send_data() {
        return [
            { tag: "i 255", argType: "i", address: "/a", value: 255, expected: 'sendOscTyped("/a","i",[127])' },
            { tag: "i 128", argType: "i", address: "/a", value: 128, expected: 'sendOscTyped("/a","i",[64])' },
            { tag: "i 1", argType: "i", address: "/a", value: 1, expected: 'sendOscTyped("/a","i",[0])' },
            { tag: "h 2", argType: "h", address: "/a", value: 2, expected: 'sendOscTyped("/a","h",[1])' },
            { tag: "f 51", argType: "f", address: "/a", value: 51, expected: 'sendOscTyped("/a","f",[0.2])' },
            { tag: "d 255", argType: "d", address: "/a", value: 255, expected: 'sendOscTyped("/a","d",[1])' },
            { tag: "half rounds up", argType: "", address: "/a", value: 127.5, expected: 'sendOscToAddress("/a",128)' },
            { tag: "unknown argType", argType: "x", address: "/a", value: 200.4, expected: 'sendOscToAddress("/a",200)' },
            { tag: "no address, argType i", argType: "i", address: "", value: 128, expected: "sendOscChannel(2,7,128)" },
        ]
    }

    function test_send(data) {
        const fader = createFader({ universe: 2, channel: 7, oscAddress: data.address, argType: data.argType })
        fader.sendValue(data.value)
        compare(sent(), [data.expected])
    }

    function test_repeats_data() {
        return [
            { tag: "first zero goes out", values: [0], expected: [0] },
            { tag: "same scaled value", values: [10, 10.2, 9.6], expected: [10] },
            { tag: "neighbours mapping to one int", values: [128, 129], expected: [128, 129] },
            { tag: "back and forth", values: [5, 6, 5], expected: [5, 6, 5] },
        ]
    }

    function test_repeats(data) {
        const fader = createFader({ oscAddress: "/a" })
        data.values.forEach(v => fader.sendValue(v))
        compare(backend.calls.map(call => call.args[1]), data.expected)
    }

    function test_caption_data() {
        return [
            { tag: "label and type", label: "Volume", argType: "f", value: 128, expected: "Volume 1 (128) ,f" },
            { tag: "bare, rounded", label: "", argType: "", value: 12.6, expected: "1 (13)" },
        ]
    }

    function test_caption(data) {
        const fader = createFader({ label: data.label, argType: data.argType })
        findChild(fader, "valueSlider").value = data.value
        compare(findChild(fader, "caption").text, data.expected)
    }

    // Moves that arrive together give no send until the throttle fires; then one send
    // carries the value of that moment; nothing follows without a further move.
    function test_throttle_one_send_per_period() {
        const fader = createFader({ oscAddress: "/a", argType: "i" })
        const slider = findChild(fader, "valueSlider")
        const throttle = findChild(fader, "sendThrottle")
        const x = slider.width / 2
        mousePress(slider, x, slider.height - 1)
        for (let i = 1; i <= 10; ++i)
            mouseMove(slider, x, slider.height - 1 - i * 8)
        compare(sent(), [])
        verify(throttle.running)
        const expected = fader.toInt127(fader.scaledValue(slider.value))
        verify(expected > 0)
        tryVerify(() => backend.calls.length === 1)
        compare(sentInts(), [expected])
        wait(100)
        compare(backend.calls.length, 1)

        mouseMove(slider, x, -40)
        mouseRelease(slider, x, -40)
        compare(sentInts(), [expected, 127])
        verify(!throttle.running)
        wait(100)
        compare(backend.calls.length, 2)
    }

    function test_throttle_drag() {
        const fader = createFader({ oscAddress: "/a", argType: "i" })
        const slider = findChild(fader, "valueSlider")
        const x = slider.width / 2
        const steps = 40
        mousePress(slider, x, slider.height - 1)
        const started = Date.now()
        for (let i = 1; i <= steps; ++i) {
            mouseMove(slider, x, slider.height - 1 - i * (slider.height + 20) / steps)
            wait(5)
        }
        const elapsed = Date.now() - started
        mouseRelease(slider, x, -20)
        const values = sentInts()
        // At least one timed send, at most one per throttle period (33 ms, less a coarse
        // timer's 5 %), and the final value.
        verify(values.length >= 2, JSON.stringify(values))
        verify(values.length <= Math.floor(elapsed / 31) + 2, values.length + " sends in " + elapsed + " ms")
        compare(values[values.length - 1], 127)
        for (let i = 1; i < values.length; ++i)
            verify(values[i] >= values[i - 1], JSON.stringify(values))
        wait(100)
        compare(backend.calls.length, values.length)
    }

    function test_click_on_track_sends_once() {
        const fader = createFader({ channel: 4 })
        const slider = findChild(fader, "valueSlider")
        mouseClick(slider, slider.width / 2, slider.height / 4)
        verify(slider.value > 128)
        compare(sent(), ["sendOscChannel(0,4," + Math.round(slider.value) + ")"])
        wait(100)
        compare(backend.calls.length, 1)
    }

    name: "FixtureChannelFader"
    width: 200
    height: 400
    visible: true
    when: windowShown

    Component {
        id: faderComponent

        FixtureChannelFader {
            x: 20
            y: 20
            height: 300
        }
    }
}
