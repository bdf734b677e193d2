import QtQuick
import QtQuick.Controls
import QtTest
import "qrc:/"
import "DeskTesting.js" as DeskTesting

// The channel controls on their own: fader, button and XY pad.
TestCase {
    id: testCase

    function init() {
        backend.clearCalls()
    }

    function create(component, properties) {
        const control = createTemporaryObject(component, testCase, properties)
        waitForRendering(control)
        return control
    }

    function sent() {
        return DeskTesting.describeCalls(backend.calls)
    }

    // The single value each typed send carried.
    function sentValues() {
        return backend.calls.map(call => call.args[2][0])
    }

    // The pairs the pad sent to "/xy".
    function pairs() {
        return backend.calls.map(call => {
            compare([call.method, call.args[0], call.args[1]], ["sendOscTyped", "/xy", "ff"])
            return call.args[2]
        })
    }

    function test_fader_send_data() {
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

    function test_fader_send(data) {
        const fader = create(faderComponent, { universe: 2, channel: 7, oscAddress: data.address, argType: data.argType })
        fader.sendValue(data.value)
        compare(sent(), [data.expected])
    }

    // A value goes out unless it equals the last one sent, after rounding.
    function test_fader_repeats() {
        const fader = create(faderComponent, { oscAddress: "/a" })
        for (const value of [0, 10, 10.2, 9.6, 11, 10])
            fader.sendValue(value)
        compare(backend.calls.map(call => call.args[1]), [0, 10, 11, 10])
    }

    function test_fader_caption() {
        const fader = create(faderComponent, { label: "Volume", argType: "f" })
        findChild(fader, "valueSlider").value = 12.6
        compare(findChild(fader, "caption").text, "Volume 1 (13) ,f")
        fader.label = ""
        fader.argType = ""
        compare(findChild(fader, "caption").text, "1 (13)")
    }

    // Moves that arrive together give no send until the throttle fires; then one send
    // carries the value of that moment. A paced drag sends at most once per period (33 ms,
    // less a coarse timer's 5 %), the release sends the final value, and nothing follows.
    function test_fader_throttle() {
        const fader = create(faderComponent, { oscAddress: "/a", argType: "i" })
        const slider = findChild(fader, "valueSlider")
        const throttle = findChild(fader, "sendThrottle")
        const x = slider.width / 2
        mousePress(slider, x, slider.height - 1)
        for (let i = 1; i <= 10; ++i)
            mouseMove(slider, x, slider.height - 1 - i * 4)
        compare(backend.calls.length, 0)
        verify(throttle.running)
        const first = fader.toInt127(fader.scaledValue(slider.value))
        verify(first > 0)
        tryVerify(() => backend.calls.length === 1)
        compare(sentValues(), [first])
        wait(50)
        compare(backend.calls.length, 1)

        const steps = 40
        const started = Date.now()
        for (let i = 1; i <= steps; ++i) {
            mouseMove(slider, x, slider.height - 41 - i * (slider.height - 20) / steps)
            wait(5)
        }
        const elapsed = Date.now() - started
        mouseRelease(slider, x, -20)
        const values = sentValues()
        verify(!throttle.running)
        verify(values.length >= 3, JSON.stringify(values))
        verify(values.length <= Math.floor(elapsed / 31) + 3, values.length + " sends in " + elapsed + " ms")
        compare(values[values.length - 1], 127)
        for (let i = 1; i < values.length; ++i)
            verify(values[i] > values[i - 1], JSON.stringify(values))
        wait(100)
        compare(backend.calls.length, values.length)
    }

    // Each row: all calls after two gestures (toggle: click on, click off; momentary: press,
    // then a release or a cancel); the first of them goes out with the first gesture. A
    // press that ends without a release still sends the off message, once.
    function test_button_table_data() {
        const toAddress = ['sendOscToAddress("/b",255)', 'sendOscToAddress("/b",0)']
        const bool = ['sendOscTyped("/b","T",[])', 'sendOscTyped("/b","F",[])']
        const channel = ["sendOscChannel(3,9,255)", "sendOscChannel(3,9,0)"]
        const kinds = [
            ["empty", "", "/b", toAddress], ["other", "f", "/b", toAddress], ["T", "T", "/b", bool],
            ["none", "none", "/b", ['sendOscTyped("/b","",[])']], ["I", "I", "/b", ['sendOscTyped("/b","I",[])']],
            ["s", "s", "/b", ['sendOscTyped("/b","s",["go"])']],
            ["no address, none", "none", "", channel], ["no address, T", "T", "", channel],
        ]
        const rows = [{ tag: "unknown mode", mode: "latch", argType: "", address: "/b", all: [] }]
        for (const mode of ["toggle", "momentary"]) {
            for (const kind of kinds)
                rows.push({ tag: mode + " " + kind[0], mode: mode, argType: kind[1], address: kind[2], all: kind[3] })
        }
        for (const end of ["dragged off", "dragged off and back", "disabled while held"])
            rows.push({ tag: "momentary T, " + end, mode: "momentary", argType: "T", address: "/b", all: bool, end: end })
        return rows
    }

    function test_button_table(data) {
        const button = create(buttonComponent, { universe: 3, channel: 9, mode: data.mode, argType: data.argType,
                                                 oscAddress: data.address, stringValue: "go" })
        const btn = findChild(button, "btn")
        const toggle = data.mode === "toggle"
        const outside = [btn.width + 80, btn.height + 80]
        compare(btn.checkable, toggle)
        toggle ? mouseClick(btn) : mousePress(btn)
        compare(sent(), data.all.slice(0, 1))
        compare(btn.checked, toggle)
        verify(Qt.colorEqual(button.border.color, toggle ? "#4fc3f7" : "#404040"))
        if (data.end === "disabled while held") {
            btn.enabled = false
        } else if (data.end) {
            mouseMove(btn, outside[0], outside[1])
            if (data.end === "dragged off and back")
                mouseMove(btn, btn.width / 2, btn.height / 2)
            mouseMove(btn, outside[0], outside[1])
        }
        toggle ? mouseClick(btn) : data.end ? mouseRelease(btn, outside[0], outside[1]) : mouseRelease(btn)
        compare(sent(), data.all)
        verify(!btn.checked && !btn.pressed)
        verify(Qt.colorEqual(button.color, "#252525"))
        compare(button.border.width, 1)
    }

    // The tool tip shows only for a labelled button.
    function test_button_texts_data() {
        return [
            { tag: "no type", label: "Play", argType: "", mode: "toggle", channelText: "9",
              toolTip: "Play  -  /p  (toggle)", shown: true },
            { tag: "none", label: "Play", argType: "none", mode: "momentary", channelText: "9 ()",
              toolTip: "Play  -  /p", shown: true },
            { tag: "typed, unlabelled", label: "", argType: "T", mode: "toggle", channelText: "9 ,T",
              toolTip: "  -  /p  (toggle)", shown: false },
        ]
    }

    function test_button_texts(data) {
        const button = create(buttonComponent, { channel: 9, label: data.label, oscAddress: "/p", mode: data.mode,
                                                 argType: data.argType })
        const btn = findChild(button, "btn")
        compare([findChild(button, "channelText").text, findChild(button, "labelText").text, btn.ToolTip.text],
                [data.channelText, data.label, data.toolTip])
        btn.hoverEnabled = true
        btn.ToolTip.delay = 0
        mouseMove(btn)
        tryVerify(() => btn.hovered)
        wait(50)
        compare(btn.ToolTip.visible, data.shown)
        mouseMove(testCase, testCase.width - 1, testCase.height - 1)
    }

    // Press at a point (fractions of the pad), drag to another (may lie outside) and release.
    function test_pad_positions_data() {
        return [
            { tag: "top-left corner", from: [0, 0], to: [0, 0], expected: [0, 1] },
            { tag: "bottom-right corner", from: [0.99, 0.99], to: [1, 1], expected: [1, 0] },
            { tag: "quarter along the top", from: [0.25, 0], to: [0.25, 0], expected: [0.25, 1] },
            { tag: "beyond top-left", from: [0.5, 0.5], to: [-0.5, -0.5], expected: [0, 1] },
            { tag: "beyond bottom-right", from: [0.5, 0.5], to: [1.5, 1.5], expected: [1, 0] },
        ]
    }

    function test_pad_positions(data) {
        const pad = create(padComponent, { oscAddress: "/xy" })
        const area = findChild(pad, "padArea")
        mousePress(area, data.from[0] * area.width, data.from[1] * area.height)
        mouseMove(area, data.to[0] * area.width, data.to[1] * area.height)
        mouseRelease(area, data.to[0] * area.width, data.to[1] * area.height)
        compare(pairs(), [data.expected])
        compare([pad.xValue, pad.yValue], data.expected)
        const knob = findChild(pad, "knob")
        compare([knob.x + knob.width / 2, knob.y + knob.height / 2],
                [data.expected[0] * area.width, (1 - data.expected[1]) * area.height])
    }

    // Moves that arrive together give no send until the throttle fires; then one send
    // carries the pair of that moment. Held past an edge, the pad stays pinned there and
    // sends nothing more; the release stops the throttle.
    function test_pad_throttle_and_pinned_edge() {
        const pad = create(padComponent, { oscAddress: "/xy" })
        const area = findChild(pad, "padArea")
        mousePress(area, 0, area.height - 1)
        for (let i = 1; i <= 10; ++i)
            mouseMove(area, i * area.width / 20, area.height + 5)
        compare(backend.calls.length, 0)
        tryVerify(() => backend.calls.length === 1)
        for (const offset of [10, 40, 90]) {
            mouseMove(area, -offset, -offset / 2)
            wait(50)
        }
        mouseRelease(area, -120, -10)
        verify(!findChild(pad, "sendThrottle").running)
        wait(50)
        compare(pairs(), [[0.5, 0], [0, 1]])
    }

    // De-duplication compares the pair after rounding to three decimals, halves upward.
    function test_pad_rounded_pair_repeats() {
        const pad = create(padComponent, { oscAddress: "/xy" })
        const width = findChild(pad, "pad").width
        for (const x of [0.3, 0.3002, 2 / 3, 0.1235]) {
            pad.moveTo(x * width, 0)
            pad.noteReleased()
        }
        compare(pairs(), [[0.3, 1], [0.667, 1], [0.124, 1]])
        compare(pad.lastSent, "0.124,1")
    }

    function test_pad_without_address_sends_nothing() {
        const pad = create(padComponent, { label: "Jog", channel: 6 })
        const area = findChild(pad, "padArea")
        mousePress(area, 0, area.height - 1)
        mouseMove(area, area.width / 4, area.height + 5)
        wait(50)
        mouseRelease(area, area.width / 4, area.height + 5)
        compare([pad.xValue, pad.yValue, pad.lastSent, backend.calls.length], [0.25, 0, "", 0])
        compare(findChild(pad, "valueText").text, "x 0.25  y 0.00  ,ff")
        compare(findChild(pad, "caption").text, "Jog 6")
    }

    name: "FixtureChannelControls"
    width: 400
    height: 400
    visible: true
    when: windowShown

    Component { id: faderComponent; FixtureChannelFader { x: 20; y: 20; height: 300 } }
    Component { id: buttonComponent; FixtureChannelButton { x: 40; y: 40 } }
    // A pad 200 px wide.
    Component { id: padComponent; FixtureChannelXYPad { x: 100; y: 100; width: 208; height: 210 } }
}
