import QtQuick
import QtTest
import "qrc:/"
import "DeskTesting.js" as DeskTesting

TestCase {
    id: testCase

    function createStrip(fixture) {
        const strip = createTemporaryObject(stripComponent, testCase, { fixture: fixture })
        verify(strip !== null)
        waitForRendering(strip)
        return strip
    }

    function describedControls(strip) {
        return DeskTesting.controlsIn(strip).map(DeskTesting.describeControl)
    }

    function channelNumbers(list) {
        return list.map(element => element.channel)
    }

    function test_controls_data() {
        return [
            { tag: "format example", fixture: {
                    universe: 0, startChannel: 1, channelCount: 4, capabilities: { channels: {
                        "1": { label: "Volume", oscAddress: "/deck1/volume", argType: "f" },
                        "2": { label: "Play", controlType: "button", mode: "toggle", oscAddress: "/deck1/play" },
                        "3": { label: "Jog", controlType: "xy", oscAddress: "/deck1/jog" } } } },
              continuous: [1, 3, 4], buttons: [2], expected: [
                    "fader u0 ch1 'Volume' /deck1/volume ,f",
                    "xy u0 ch3 'Jog' /deck1/jog",
                    "fader u0 ch4 ''  ,",
                    "button u0 ch2 'Play' /deck1/play , toggle ''"] },
            { tag: "absolute channel keys", fixture: {
                    universe: 3, startChannel: 10, channelCount: 3, capabilities: { channels: {
                        "1": { controlType: "button", label: "Elsewhere" },
                        "010": { controlType: "xy" },
                        "10": { controlType: "button", mode: "momentary", argType: "s", stringValue: "hi", oscAddress: "/t" },
                        "12": { controlType: "xy", argType: "i", oscAddress: "/j" } } } },
              continuous: [11, 12], buttons: [10], expected: [
                    "fader u3 ch11 ''  ,",
                    "xy u3 ch12 '' /j",
                    "button u3 ch10 '' /t ,s momentary 'hi'"] },
            { tag: "false entries", fixture: {
                    startChannel: 1, channelCount: 4, capabilities: { channels: { "1": null, "2": "", "3": false, "4": 0 } } },
              continuous: [1, 2, 3, 4], buttons: [], expected: [
                    "fader u0 ch1 ''  ,", "fader u0 ch2 ''  ,", "fader u0 ch3 ''  ,", "fader u0 ch4 ''  ,"] },
            { tag: "no capabilities", fixture: { startChannel: 5, channelCount: 2 },
              continuous: [5, 6], buttons: [], expected: ["fader u0 ch5 ''  ,", "fader u0 ch6 ''  ,"] },
            { tag: "capabilities without channels", fixture: { startChannel: 5, channelCount: 1, capabilities: { other: 1 } },
              continuous: [5], buttons: [], expected: ["fader u0 ch5 ''  ,"] },
            { tag: "button defaults", fixture: {
                    startChannel: 1, channelCount: 3, capabilities: { channels: {
                        "1": { controlType: "button" },
                        "2": { controlType: "button", mode: "", argType: "", stringValue: "" },
                        "3": { controlType: "button", mode: "hold", argType: "I", oscAddress: "/i" } } } },
              continuous: [], buttons: [1, 2, 3], expected: [
                    "button u0 ch1 ''  , toggle ''",
                    "button u0 ch2 ''  , toggle ''",
                    "button u0 ch3 '' /i ,I hold ''"] },
            { tag: "unknown control type is a fader", fixture: {
                    startChannel: 1, channelCount: 1, capabilities: { channels: {
                        "1": { controlType: "knob", argType: "h", oscAddress: "/k", mode: "momentary" } } } },
              continuous: [1], buttons: [], expected: ["fader u0 ch1 '' /k ,h"] },
        ]
    }

    function test_controls(data) {
        const strip = createStrip(data.fixture)
        compare(channelNumbers(strip.continuousChannels), data.continuous)
        compare(channelNumbers(strip.buttonChannels), data.buttons)
        compare(describedControls(strip), data.expected)
    }

    function test_labels_data() {
        const channels = {
            "2": { controlType: "button" },
            "3": { controlType: "xy" },
            "4": { label: "" },
        }
        return [
            { tag: "LED RGB Par", deviceType: "LED RGB Par", start: 1, channels: channels,
              expected: ["R", "B", "", "", "G"] },
            { tag: "lower case", deviceType: "rgbw", start: 1, channels: channels,
              expected: ["R", "B", "", "", "G"] },
            { tag: "mixed case, later start", deviceType: "Wash RgB", start: 7,
              channels: { "8": { controlType: "button" }, "9": { controlType: "xy" } },
              expected: ["R", "B", "", "", "G"] },
            { tag: "not rgb", deviceType: "Generic", start: 1, channels: channels,
              expected: ["", "", "", "", ""] },
            { tag: "own label wins", deviceType: "RGB", start: 1,
              channels: { "1": { label: "Dim" }, "2": { controlType: "button", label: "Flash" }, "5": { label: "Speed" } },
              expected: ["Dim", "B", "", "Speed", "Flash"] },
        ]
    }

    function test_labels(data) {
        const strip = createStrip({ deviceType: data.deviceType, startChannel: data.start, channelCount: 5,
                                    capabilities: { channels: data.channels } })
        compare(DeskTesting.controlsIn(strip).map(control => control.label), data.expected)
    }

    function test_button_grid_data() {
        const columns = [1, 2, 3, 4, 3, 3, 4, 4, 3, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4]
        const rows = [1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5]
        const table = []
        for (let n = 1; n <= 20; ++n)
            table.push({ tag: n + " buttons", count: n, columns: columns[n - 1], rows: rows[n - 1] })
        return table
    }

    function test_button_grid(data) {
        const entries = {}
        for (let i = 1; i <= data.count; ++i)
            entries[String(i)] = { controlType: "button" }
        const strip = createStrip({ startChannel: 1, channelCount: data.count, capabilities: { channels: entries } })
        compare(strip.buttonColumns, data.columns)
        const grid = findChild(strip, "buttonGrid")
        compare(grid.columns, data.columns)
        compare(grid.width, data.columns * 56 + (data.columns - 1) * 4)
        compare(grid.height, data.rows * 64 + (data.rows - 1) * 4)
        compare(strip.implicitWidth, Math.max(170, grid.width) + 16)
    }

    function test_header_data() {
        return [
            { tag: "type only", fixture: { name: "Par", deviceType: "Dimmer", universe: 2, startChannel: 10, channelCount: 3 },
              name: "Par", subtitle: "Dimmer", range: "Univ 2 | CH 10\u201312" },
            { tag: "maker and model", fixture: { name: "A", manufacturer: "Acme", model: "P1", startChannel: 510, channelCount: 5 },
              name: "A", subtitle: "Acme P1", range: "Univ 0 | CH 510\u2013514" },
            { tag: "model only", fixture: { name: "", model: "P1" }, name: "", subtitle: "P1", range: "Univ 0 | CH 1\u20131" },
            { tag: "fallbacks", fixture: {}, name: "Fixture", subtitle: "Generic", range: "Univ 0 | CH 1\u20131" },
        ]
    }

    function test_header(data) {
        const strip = createStrip(data.fixture)
        compare(findChild(strip, "nameText").text, data.name)
        compare(findChild(strip, "subtitleText").text, data.subtitle)
        compare(findChild(strip, "rangeText").text, data.range)
        compare(DeskTesting.controlsIn(strip).length, strip.channelCount)
    }

    function test_buttons_only_keep_grid_at_bottom() {
        const strip = createStrip({ startChannel: 1, channelCount: 2, capabilities: { channels: {
            "1": { controlType: "button" }, "2": { controlType: "button" } } } })
        verify(!findChild(strip, "continuousRow").visible)
        const grid = findChild(strip, "buttonGrid")
        verify(grid.visible)
        compare(grid.mapToItem(strip, 0, grid.height).y, strip.height - 8)
        compare(grid.mapToItem(strip, 0, 0).x, 8)
        compare(findChild(strip, "nameText").mapToItem(strip, 0, 0).y, 8)
    }

    function test_continuous_row_fills_down_without_buttons() {
        const strip = createStrip({ startChannel: 1, channelCount: 2, capabilities: { channels: {
            "2": { controlType: "xy" } } } })
        verify(!findChild(strip, "buttonGrid").visible)
        const row = findChild(strip, "continuousRow")
        const controls = DeskTesting.controlsIn(strip)
        compare(controls.length, 2)
        verify(row.height > 140)
        tryCompare(controls[1], "width", row.height)
        for (const control of controls) {
            compare(control.height, row.height)
            compare(control.mapToItem(strip, 0, control.height).y, strip.height - 8)
        }
        compare(controls[0].width, 40)
        compare(controls[1].mapToItem(strip, 0, 0).x - controls[0].mapToItem(strip, 0, 0).x, 44)
        tryCompare(strip, "implicitWidth", 40 + 4 + row.height + 4 + 16)
    }

    name: "FixtureStrip"
    width: 1000
    height: 500
    visible: true
    when: windowShown

    Component {
        id: stripComponent

        FixtureStrip {
            width: implicitWidth
            height: 360
        }
    }
}
