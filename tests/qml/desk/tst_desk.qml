import QtQuick
import QtTest
import "qrc:/"
import "qrc:/Rules.js" as Rules
import "DeskTesting.js" as DeskTesting

// The desk's controls and strips on their own, against a backend that records calls.
TestCase {
    id: testCase

    function init() {
        backend.fixtures = []
        backend.clearCalls()
    }

    function create(component, properties) {
        const item = createTemporaryObject(component, testCase, properties)
        waitForRendering(item)
        return item
    }

    // The recorded calls, e.g. sendOscTyped("/a","f",[0.2]).
    function sent() {
        return backend.calls.map(call => call.method + "(" + JSON.stringify(call.args).slice(1, -1) + ")")
    }

    // The first value of each send.
    function sentValues() {
        return backend.calls.map(call => call.method === "sendOscTyped" ? call.args[2][0] : call.args[1])
    }

    // A value goes out unless it equals the last one sent, after rounding.
    function test_fader_data() {
        return [
            { tag: "i", argType: "i", address: "/a", values: [255, 128, 1], expected: 'sendOscTyped("/a","i",[127]) sendOscTyped("/a","i",[64]) sendOscTyped("/a","i",[0])' },
            { tag: "h", argType: "h", address: "/a", values: [2], expected: 'sendOscTyped("/a","h",[1])' },
            { tag: "f", argType: "f", address: "/a", values: [51], expected: 'sendOscTyped("/a","f",[0.2])' },
            { tag: "d", argType: "d", address: "/a", values: [255], expected: 'sendOscTyped("/a","d",[1])' },
            { tag: "unknown, repeats", argType: "x", address: "/a", values: [127.5, 128.2, 200.4, 128],
              expected: 'sendOscToAddress("/a",128) sendOscToAddress("/a",200) sendOscToAddress("/a",128)' },
            { tag: "no address", argType: "i", address: "", values: [128], expected: "sendOscChannel(2,7,128)" },
        ]
    }

    function test_fader(data) {
        const fader = create(faderComponent, { universe: 2, channel: 7, oscAddress: data.address, argType: data.argType })
        data.values.forEach(value => fader.sendValue(value))
        compare(sent().join(" "), data.expected)
    }

    // All calls after two gestures (toggle: two clicks; momentary: a press, then a release
    // or a cancel); the first goes out with the first gesture. A momentary press that ends
    // without a release still sends its off message, once.
    function test_button_data() {
        const toAddress = ['sendOscToAddress("/b",255)', 'sendOscToAddress("/b",0)']
        const bool = ['sendOscTyped("/b","T",[])', 'sendOscTyped("/b","F",[])']
        const channel = ["sendOscChannel(3,9,255)", "sendOscChannel(3,9,0)"]
        const kinds = [["empty", "", "/b", toAddress], ["other", "f", "/b", toAddress], ["T", "T", "/b", bool],
                       ["none", "none", "/b", ['sendOscTyped("/b","",[])']], ["I", "I", "/b", ['sendOscTyped("/b","I",[])']],
                       ["s", "s", "/b", ['sendOscTyped("/b","s",["go"])']], ["no address", "T", "", channel]]
        const rows = [{ tag: "unknown mode", mode: "latch", argType: "", address: "/b", all: [] }]
        for (const mode of ["toggle", "momentary"])
            kinds.forEach(kind => rows.push({ tag: mode + " " + kind[0], mode: mode, argType: kind[1], address: kind[2], all: kind[3] }))
        for (const end of ["dragged off", "dragged off and back", "disabled while held"])
            rows.push({ tag: "momentary T, " + end, mode: "momentary", argType: "T", address: "/b", all: bool, end: end })
        return rows
    }

    function test_button(data) {
        const btn = findChild(create(buttonComponent, { universe: 3, channel: 9, mode: data.mode, argType: data.argType,
                                                        oscAddress: data.address, stringValue: "go" }), "btn")
        const toggle = data.mode === "toggle"
        toggle ? mouseClick(btn) : mousePress(btn)
        compare(sent(), data.all.slice(0, 1))
        compare(btn.checked, toggle)
        if (data.end === "disabled while held")
            btn.enabled = false
        else if (data.end)
            mouseMove(btn, btn.width + 80, btn.height + 80)
        if (data.end === "dragged off and back") {
            mouseMove(btn, btn.width / 2, btn.height / 2)
            mouseMove(btn, btn.width + 80, btn.height + 80)
        }
        toggle ? mouseClick(btn) : data.end ? mouseRelease(btn, btn.width + 80, btn.height + 80) : mouseRelease(btn)
        compare(sent(), data.all)
        verify(!btn.checked && !btn.pressed)
    }

    // Pressed at a point (fractions of the pad), dragged to another (may lie outside) and
    // released: x grows to the right, y upward, both 0 to 1.
    function test_pad_data() {
        return [
            { tag: "top-left corner", from: [0, 0], to: [0, 0], expected: [0, 1] },
            { tag: "bottom-right corner", from: [0.99, 0.99], to: [1, 1], expected: [1, 0] },
            { tag: "quarter along the top", from: [0.25, 0], to: [0.25, 0], expected: [0.25, 1] },
            { tag: "beyond top-left", from: [0.5, 0.5], to: [-0.5, -0.5], expected: [0, 1] },
            { tag: "beyond bottom-right", from: [0.5, 0.5], to: [1.5, 1.5], expected: [1, 0] },
        ]
    }

    function test_pad(data) {
        const pad = create(padComponent, { oscAddress: "/xy" })
        const area = findChild(pad, "padArea")
        mousePress(area, data.from[0] * area.width, data.from[1] * area.height)
        mouseMove(area, data.to[0] * area.width, data.to[1] * area.height)
        mouseRelease(area, data.to[0] * area.width, data.to[1] * area.height)
        compare(sent(), ['sendOscTyped("/xy","ff",' + JSON.stringify(data.expected) + ')'])
        compare([pad.xValue, pad.yValue], data.expected)
    }

    // Moves that come together give one send, when the throttle fires; moves spread over
    // several periods send on the way; the release sends the last value, nothing follows.
    // Each row moves from the bottom left upward and rightward, in fractions of the control.
    function test_throttle_data() {
        return [
            { tag: "fader", component: faderComponent, target: "valueSlider", last: 'sendOscTyped("/a","i",[127])' },
            { tag: "pad", component: padComponent, target: "padArea", last: 'sendOscTyped("/xy","ff",[1,1])' },
        ]
    }

    function test_throttle(data) {
        const area = findChild(create(data.component, { oscAddress: data.tag === "pad" ? "/xy" : "/a", argType: "i" }),
                               data.target)
        const move = (x, y) => mouseMove(area, x * area.width, (1 - y) * area.height)
        mousePress(area, 0, area.height - 1)
        for (let i = 1; i <= 10; ++i)
            move(i * 0.05, 0.015 + i * 0.0485)
        compare(backend.calls.length, 0)
        tryCompare(backend.calls, "length", 1)
        for (let i = 1; i <= 10; ++i) {
            move(0.5 + i * 0.04, 0.5 + i * 0.04)
            wait(10)
        }
        verify(backend.calls.length >= 2, "no send while moving: " + sent())
        move(1.2, 1.2)
        mouseRelease(area, 1.2 * area.width, -0.2 * area.height)
        wait(50)
        compare(sent()[sent().length - 1], data.last)
        verify(sentValues().every((value, i) => i === 0 || value > sentValues()[i - 1]), sent().join(" "))
    }

    // Pairs are compared after rounding to three decimals, halves upward.
    function test_pad_repeats() {
        const pad = create(padComponent, { oscAddress: "/xy" })
        for (const x of [0.3, 0.3002, 2 / 3, 0.1235]) {
            pad.moveTo(x * findChild(pad, "pad").width, 0)
            pad.noteReleased()
        }
        compare(sent(), ['sendOscTyped("/xy","ff",[0.3,1])', 'sendOscTyped("/xy","ff",[0.667,1])',
                         'sendOscTyped("/xy","ff",[0.124,1])'])
    }

    // A desk of one fixture; its strip once built.
    function stripOf(fixture) {
        const view = create(deskComponent, {})
        backend.fixtures = [fixture]
        let strip
        tryVerify(() => (strip = DeskTesting.findAll(view, DeskTesting.isStrip)[0]) !== undefined)
        waitForRendering(strip)
        return strip
    }

    // At most four buttons a row, in as few rows as hold them, evenly filled. The strip is
    // as wide as its fader row and grid need, a pad as wide as the row is high (at least 140).
    function test_strip_layout_data() {
        const rows = "1x1 2x1 3x1 4x1 3x2 3x2 4x2 4x2 3x3 4x3".split(" ").map((shape, i) =>
            ({ tag: (i + 1) + " buttons", buttons: i + 1, shape: shape.split("x").map(Number) }))
        return rows.concat([
            { tag: "6 faders, 2 pads, 9 buttons", faders: 6, pads: 2, buttons: 9, shape: [3, 3] },
            { tag: "2 pads, no buttons", pads: 2, shape: [1, 0] },
            { tag: "1 fader", faders: 1, shape: [1, 0] },
        ])
    }

    function test_strip_layout(data) {
        const channels = {}
        const kinds = Array(data.faders || 0).fill("fader").concat(Array(data.pads || 0).fill("xy"),
                                                                     Array(data.buttons || 0).fill("button"))
        kinds.forEach((kind, i) => channels[i + 1] = { controlType: kind })
        const strip = stripOf({ channelCount: kinds.length, capabilities: { channels: channels } })
        const grid = findChild(strip, "buttonGrid")
        const row = findChild(strip, "continuousRow")
        compare([grid.columns, Math.ceil((data.buttons || 0) / grid.columns)], data.shape)
        compare(strip.width, Math.max(170, row.visible ? row.implicitWidth : 0, grid.visible ? grid.implicitWidth : 0) + 16)
        for (const pad of DeskTesting.findAll(row, item => item.xValue !== undefined))
            compare(pad.width, Math.max(140, row.height))
    }

    // A missing key takes the fallback; a key present with null shows empty text.
    function test_strip_header_data() {
        return [
            { tag: "missing keys", fixture: {}, texts: ["Fixture", "Generic", "Univ 0 | CH 1\u20131"] },
            { tag: "null keys", fixture: { name: null, deviceType: null }, texts: ["", "", "Univ 0 | CH 1\u20131"] },
        ]
    }

    function test_strip_header(data) {
        const strip = stripOf(data.fixture)
        compare(["nameText", "subtitleText", "rangeText"].map(name => findChild(strip, name).text), data.texts)
    }

    // File URLs as QUrl::toLocalFile reads them, for the fixtures and scenario dialogs.
    function test_url_to_local_path_data() {
        return [
            { tag: "plain", url: "file:///home/a/d.json", path: "/home/a/d.json" },
            { tag: "encoded", url: "file:///home/a%20b/%C3%A9.json", path: "/home/a b/\u00e9.json" },
            { tag: "stray percent", url: "file:///home/100%/d.json", path: "/home/100%/d.json" },
            { tag: "windows drive", url: "file:///C:/f/d.json", path: "C:/f/d.json" },
            { tag: "host", url: "file://Server/share/d.json", path: "//server/share/d.json" },
            { tag: "not a URL", url: "/already/a/path", path: "/already/a/path" },
        ]
    }

    function test_url_to_local_path(data) {
        compare(Rules.urlToLocalPath(data.url), data.path)
    }

    name: "Desk"
    width: 1400
    height: 900
    visible: true
    when: windowShown

    Component { id: faderComponent; FixtureChannelFader { x: 20; y: 20; height: 300 } }
    Component { id: buttonComponent; FixtureChannelButton { x: 40; y: 40 } }
    // A pad 200 px wide.
    Component { id: padComponent; FixtureChannelXYPad { x: 100; y: 100; width: 208; height: 210 } }
    Component { id: deskComponent; FixtureDeskView { width: 1400; height: 600 } }
}
