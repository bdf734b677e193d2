import QtQuick
import QtTest
import "qrc:/"
import "DeskTesting.js" as DeskTesting
import "qrc:/Rules.js" as Rules

// The strips of fixtures on their own, and the desk that shows one per fixture.

TestCase {
    id: testCase

    function init() {
        backend.fixtures = []
        backend.clearCalls()
    }

    // A desk, showing the example fixtures when asked to.
    function createDesk(width, height, withExample) {
        const desk = createTemporaryObject(deskComponent, testCase, { width: width, height: height })
        if (withExample) {
            backend.fixtures = backend.readFixturesFile(examplesDir + "/osc_fixtures.json")
            verify(backend.fixtures.length > 0, "examples/osc_fixtures.json holds no fixtures")
        }
        waitForRendering(desk)
        return desk
    }

    function createStrip(fixture) {
        const strip = createTemporaryObject(stripComponent, testCase, { fixture: fixture })
        waitForRendering(strip)
        return strip
    }

    function sent() {
        return DeskTesting.describeCalls(backend.calls)
    }

    // Faders and pads in channel order, then the buttons.
    function test_strip_controls_data() {
        return [
            { tag: "mixed controls", fixture: { startChannel: 1, channelCount: 4, capabilities: { channels: {
                  "1": { label: "Volume", oscAddress: "/deck1/volume", argType: "f" },
                  "2": { label: "Play", controlType: "button", mode: "toggle", oscAddress: "/deck1/play" },
                  "3": { label: "Jog", controlType: "xy", oscAddress: "/deck1/jog" } } } },
              expected: ["fader u0 ch1 'Volume' /deck1/volume ,f", "xy u0 ch3 'Jog' /deck1/jog", "fader u0 ch4 ''  ,",
                         "button u0 ch2 'Play' /deck1/play , toggle ''"] },
            { tag: "absolute channel keys", fixture: { universe: 3, startChannel: 10, channelCount: 3, capabilities: {
                  channels: { "1": { controlType: "button", label: "Elsewhere" }, "010": { controlType: "xy" },
                      "10": { controlType: "button", mode: "momentary", argType: "s", stringValue: "hi", oscAddress: "/t" },
                      "12": { controlType: "xy", argType: "i", oscAddress: "/j" } } } },
              expected: ["fader u3 ch11 ''  ,", "xy u3 ch12 '' /j", "button u3 ch10 '' /t ,s momentary 'hi'"] },
            { tag: "false entries", fixture: { startChannel: 1, channelCount: 4,
                  capabilities: { channels: { "1": null, "2": "", "3": false, "4": 0 } } },
              expected: ["fader u0 ch1 ''  ,", "fader u0 ch2 ''  ,", "fader u0 ch3 ''  ,", "fader u0 ch4 ''  ,"] },
            { tag: "capabilities without channels", fixture: { startChannel: 5, channelCount: 1, capabilities: { a: 1 } },
              expected: ["fader u0 ch5 ''  ,"] },
            { tag: "button defaults", fixture: { startChannel: 1, channelCount: 3, capabilities: { channels: {
                  "1": { controlType: "button" }, "2": { controlType: "button", mode: "", argType: "", stringValue: "" },
                  "3": { controlType: "button", mode: "hold", argType: "I", oscAddress: "/i" } } } },
              expected: ["button u0 ch1 ''  , toggle ''", "button u0 ch2 ''  , toggle ''", "button u0 ch3 '' /i ,I hold ''"] },
            { tag: "unknown control type is a fader", fixture: { startChannel: 1, channelCount: 1, capabilities: {
                  channels: { "1": { controlType: "knob", argType: "h", oscAddress: "/k", mode: "momentary" } } } },
              expected: ["fader u0 ch1 '' /k ,h"] },
        ]
    }

    function test_strip_controls(data) {
        const strip = createStrip(data.fixture)
        compare(DeskTesting.controlsIn(strip).map(DeskTesting.describeControl), data.expected)
    }

    function test_strip_labels_data() {
        const channels = { "2": { controlType: "button" }, "3": { controlType: "xy" }, "4": { label: "" } }
        return [
            { tag: "LED RGB Par", deviceType: "LED RGB Par", start: 1, channels: channels, expected: ["R", "B", "", "", "G"] },
            { tag: "mixed case, later start", deviceType: "Wash RgB", start: 7,
              channels: { "8": { controlType: "button" }, "9": { controlType: "xy" } }, expected: ["R", "B", "", "", "G"] },
            { tag: "not rgb", deviceType: "Generic", start: 1, channels: channels, expected: ["", "", "", "", ""] },
            { tag: "own label wins", deviceType: "RGB", start: 1, expected: ["Dim", "B", "", "Speed", "Flash"],
              channels: { "1": { label: "Dim" }, "2": { controlType: "button", label: "Flash" }, "5": { label: "Speed" } } },
        ]
    }

    function test_strip_labels(data) {
        const strip = createStrip({ deviceType: data.deviceType, startChannel: data.start, channelCount: 5,
                                    capabilities: { channels: data.channels } })
        compare(DeskTesting.controlsIn(strip).map(control => control.label), data.expected)
    }

    // Columns and rows of the button grid for 1 to 20 buttons.
    function test_strip_button_grid_data() {
        const shapes = "1x1 2x1 3x1 4x1 3x2 3x2 4x2 4x2 3x3 4x3 4x3 4x3 4x4 4x4 4x4 4x4 4x5 4x5 4x5 4x5".split(" ")
        return shapes.map((shape, i) => ({ tag: (i + 1) + " buttons", count: i + 1, shape: shape.split("x").map(Number) }))
    }

    function test_strip_button_grid(data) {
        const entries = {}
        for (let i = 1; i <= data.count; ++i)
            entries[String(i)] = { controlType: "button" }
        const strip = createStrip({ startChannel: 1, channelCount: data.count, capabilities: { channels: entries } })
        const grid = findChild(strip, "buttonGrid")
        const [columns, rows] = data.shape
        compare([grid.columns, grid.width, grid.height], [columns, columns * 60 - 4, rows * 68 - 4])
        verify(!findChild(strip, "continuousRow").visible)
        if (rows < 5)  // without faders or pads the grid sits at the bottom left, while it fits
            compare([grid.mapToItem(strip, 0, grid.height).y, grid.mapToItem(strip, 0, 0).x], [352, 8])
        compare(strip.implicitWidth, Math.max(170, grid.width) + 16)
    }

    function test_strip_header_data() {
        return [
            { tag: "type only", fixture: { name: "Par", deviceType: "Dimmer", universe: 2, startChannel: 10, channelCount: 3 },
              name: "Par", subtitle: "Dimmer", range: "Univ 2 | CH 10\u201312" },
            { tag: "maker and model", fixture: { name: "A", manufacturer: "Acme", model: "P1", startChannel: 510, channelCount: 5 },
              name: "A", subtitle: "Acme P1", range: "Univ 0 | CH 510\u2013514" },
            { tag: "model only", fixture: { name: "", model: "P1" }, name: "", subtitle: "P1", range: "Univ 0 | CH 1\u20131" },
            { tag: "fallbacks", fixture: {}, name: "Fixture", subtitle: "Generic", range: "Univ 0 | CH 1\u20131" },
            { tag: "null keys", fixture: { name: null, deviceType: null }, name: "", subtitle: "", range: "Univ 0 | CH 1\u20131" },
        ]
    }

    function test_strip_header(data) {
        const strip = createStrip(data.fixture)
        compare(["nameText", "subtitleText", "rangeText"].map(name => findChild(strip, name).text),
                [data.name, data.subtitle, data.range])
        compare(DeskTesting.controlsIn(strip).length, strip.channelCount)
    }

    // Without buttons the row takes the strip's height, and a pad is as wide as the row is high.
    function test_strip_row_without_buttons() {
        const strip = createStrip({ startChannel: 1, channelCount: 2, capabilities: { channels: { "2": { controlType: "xy" } } } })
        const row = findChild(strip, "continuousRow")
        const [fader, pad] = DeskTesting.controlsIn(strip)
        verify(!findChild(strip, "buttonGrid").visible && row.height > 140)
        tryCompare(pad, "width", row.height)
        compare([fader.width, fader.height, pad.height, pad.mapToItem(strip, 0, pad.height).y], [40, row.height, row.height, 352])
        tryCompare(strip, "implicitWidth", 40 + 4 + row.height + 4 + 16)
    }

    function test_desk_url_to_local_path_data() {
        return [
            { tag: "windows drive", url: "file:///C:/f/d.json", path: "C:/f/d.json" },
            { tag: "host", url: "file://host/share/x", path: "//host/share/x" },
            { tag: "utf-8", url: "file:///tmp/%C3%B1and%C3%BA%20x.json", path: "/tmp/\u00f1and\u00fa x.json" },
            { tag: "escaped hash", url: "file:///tmp/a%23b.json", path: "/tmp/a#b.json" },
            { tag: "query dropped", url: "file:///tmp/a.json?x=1", path: "/tmp/a.json" },
            { tag: "stray percent", url: "file:///tmp/a%20b/100%.json", path: "/tmp/a%20b/100%.json" },
            { tag: "upper-case scheme", url: "FILE:///tmp/a.json", path: "/tmp/a.json" },
            { tag: "plain path", url: "/home/u/x.json", path: "/home/u/x.json" },
            { tag: "other scheme", url: "http://host/x.json", path: "http://host/x.json" },
        ]
    }

    function test_desk_url_to_local_path(data) {
        compare(Rules.urlToLocalPath(data.url), data.path)
    }

    function test_desk_header_buttons_data() {
        return [
            { tag: "reload", button: "reloadButton", expected: ["loadDefaultFixturesConfig()"] },
            { tag: "save", button: "saveButton", expected: ["saveDefaultFixturesConfig()"] },
            { tag: "open, accepted", button: "openButton", accept: true },
            { tag: "open, cancelled", button: "openButton", accept: false, expected: [] },
        ]
    }

    function test_desk_header_buttons(data) {
        const desk = createDesk(900, 600)
        const dialog = findChild(desk, "fileDialog")
        // Chosen before opening: the dialog shows it as the selection.
        dialog.selectedFile = "file://" + examplesDir + "/osc_fixtures.json"
        mouseClick(findChild(desk, data.button))
        if (data.accept !== undefined) {
            tryVerify(() => dialog.visible)
            data.accept ? dialog.accept() : dialog.reject()
            tryVerify(() => !dialog.visible)
        }
        compare(sent(), data.expected || ['loadFixturesFromFile("' + examplesDir + '/osc_fixtures.json")'])
    }

    // One strip per example fixture, with a control of the right kind for each of its
    // channels; the strips are as high as the desk allows (300 to 460) and wrap.
    function test_desk_example_strips_data() {
        return [
            { tag: "wide", width: 1400, height: 900, stripHeight: 460 },
            { tag: "narrow", width: 700, height: 330, stripHeight: 300 },
        ]
    }

    function test_desk_example_strips(data) {
        const desk = createDesk(data.width, data.height, true)
        const fixtures = backend.fixtures
        const strips = DeskTesting.stripsIn(desk)
        compare(strips.map(strip => strip.name), fixtures.map(fixture => fixture.name))
        strips.forEach((strip, i) => {
            const fixture = fixtures[i]
            const channels = DeskTesting.controlsIn(strip).map(control => {
                const entry = fixture.capabilities.channels[String(control.channel)]
                const type = entry && entry.controlType
                compare(DeskTesting.controlKind(control), type === "button" || type === "xy" ? type : "fader")
                compare(control.universe, fixture.universe)
                return control.channel
            })
            compare(channels.sort((a, b) => a - b),
                    Array.from({ length: fixture.channelCount }, (_, k) => fixture.startChannel + k))
            compare([strip.height, strip.width], [data.stripHeight, strip.implicitWidth])
        })
        const scroll = findChild(desk, "fixturesScroll")
        compare(findChild(desk, "fixturesFlow").width, scroll.availableWidth)
        verify(data.tag === "wide" || (strips[1].y > strips[0].y && scroll.contentHeight > scroll.availableHeight))
        compare(backend.calls.length, 0)
    }

    // Every announcement rebuilds every strip and control in its initial state, even for
    // an equal list; a drag on a fader inside the scrolling desk moves the fader, not the desk.
    function test_desk_rebuild_on_fixtures_changed() {
        const desk = createDesk(700, 380, true)
        const before = DeskTesting.controlsIn(desk)
        const fader = before.find(control => DeskTesting.controlKind(control) === "fader")
        const slider = findChild(fader, "valueSlider")
        mousePress(slider, slider.width / 2, slider.height - 1)
        mouseMove(slider, slider.width / 2, slider.height / 2)
        mouseMove(slider, slider.width / 2, -30)
        mouseRelease(slider, slider.width / 2, -30)
        compare([slider.value, findChild(desk, "fixturesScroll").contentItem.contentY], [255, 0])
        verify(backend.calls.length > 0)
        backend.clearCalls()

        backend.fixtures = backend.fixtures
        waitForRendering(desk)
        const after = DeskTesting.controlsIn(desk)
        compare(after.length, before.length)
        verify(after.every(control => before.indexOf(control) < 0))
        const rebuilt = after.find(control => DeskTesting.controlKind(control) === "fader")
        compare([findChild(rebuilt, "valueSlider").value, rebuilt.lastSentValue, backend.calls.length], [0, -1, 0])

        backend.fixtures = []
        waitForRendering(desk)
        compare(DeskTesting.stripsIn(desk).length, 0)
    }

    // Keyboard focus on a fader below the fold scrolls the desk to it, and back up.
    function test_desk_reveals_the_focused_control() {
        const desk = createDesk(700, 330, true)
        const view = findChild(desk, "fixturesScroll").contentItem
        const sliders = DeskTesting.controlsIn(desk).filter(control => DeskTesting.controlKind(control) === "fader")
                                                   .map(fader => findChild(fader, "valueSlider"))
        const last = sliders[sliders.length - 1]
        compare(view.contentY, 0)
        last.forceActiveFocus()
        const top = last.mapToItem(view, 0, 0).y
        verify(top >= 0 && top + last.height <= view.height, "focused fader at " + top)
        sliders[0].forceActiveFocus()
        const first = sliders[0].mapToItem(view, 0, 0).y
        verify(first >= 0 && first + sliders[0].height <= view.height, "focused fader at " + first)
    }

    name: "FixtureDesk"
    width: 1400
    height: 900
    visible: true
    when: windowShown

    Component { id: stripComponent; FixtureStrip { width: implicitWidth; height: 360 } }
    Component { id: deskComponent; FixtureDeskView {} }
}
