import QtQuick
import QtTest
import "qrc:/"
import "DeskTesting.js" as DeskTesting

TestCase {
    id: testCase

    function init() {
        backend.fixtures = []
        backend.clearCalls()
    }

    function createDesk(width, height) {
        const desk = createTemporaryObject(deskComponent, testCase, { width: width, height: height })
        verify(desk !== null)
        waitForRendering(desk)
        return desk
    }

    function exampleFixtures() {
        const fixtures = backend.readFixturesFile(examplesDir + "/osc_fixtures.json")
        verify(fixtures.length > 0, "examples/osc_fixtures.json holds no fixtures")
        return fixtures
    }

    function sent() {
        return DeskTesting.describeCalls(backend.calls)
    }

    function test_url_to_local_path_data() {
        return [
            { tag: "escaped blank", url: "file:///home/u/a%20b.json", path: "/home/u/a b.json" },
            { tag: "windows drive", url: "file:///C:/f/d.json", path: "C:/f/d.json" },
            { tag: "host", url: "file://host/share/x", path: "//host/share/x" },
            { tag: "utf-8", url: "file:///tmp/%C3%B1and%C3%BA.json", path: "/tmp/\u00f1and\u00fa.json" },
            { tag: "escaped hash", url: "file:///tmp/a%23b.json", path: "/tmp/a#b.json" },
            { tag: "query dropped", url: "file:///tmp/a.json?x=1", path: "/tmp/a.json" },
            { tag: "stray percent", url: "file:///tmp/a%20b/100%.json", path: "/tmp/a%20b/100%.json" },
            { tag: "upper-case scheme", url: "FILE:///tmp/a.json", path: "/tmp/a.json" },
            { tag: "plain path", url: "/home/u/x.json", path: "/home/u/x.json" },
            { tag: "plain text", url: "fixtures.json", path: "fixtures.json" },
            { tag: "other scheme", url: "http://host/x.json", path: "http://host/x.json" },
        ]
    }

    function test_url_to_local_path(data) {
        const desk = createDesk(400, 300)
        compare(desk.urlToLocalPath(data.url), data.path)
    }

    function test_header_buttons_data() {
        return [
            { tag: "reload", button: "reloadButton", text: "Recargar fixtures", expected: ["loadDefaultFixturesConfig()"] },
            { tag: "save", button: "saveButton", text: "Guardar fixtures", expected: ["saveDefaultFixturesConfig()"] },
        ]
    }

    function test_header_buttons(data) {
        const desk = createDesk(900, 400)
        const button = findChild(desk, data.button)
        compare(button.text, data.text)
        mouseClick(button)
        compare(sent(), data.expected)
    }

    function test_file_dialog_data() {
        return [
            { tag: "accepted", accept: true },
            { tag: "cancelled", accept: false },
        ]
    }

    function test_file_dialog(data) {
        const desk = createDesk(900, 600)
        const dialog = findChild(desk, "fileDialog")
        compare(dialog.title, "Selecciona un fichero de fixtures OSC")
        compare(dialog.nameFilters, ["JSON files (*.json)", "All files (*.*)"])
        const open = findChild(desk, "openButton")
        compare(open.text, "Cargar desde fichero...")
        // Chosen before opening: the dialog shows it as the selection.
        const path = examplesDir + "/osc_fixtures.json"
        dialog.selectedFile = "file://" + path
        mouseClick(open)
        tryVerify(() => dialog.visible)
        if (data.accept)
            dialog.accept()
        else
            dialog.reject()
        tryVerify(() => !dialog.visible)
        compare(sent(), data.accept ? ['loadFixturesFromFile("' + path + '")'] : [])
    }

    function test_example_strips() {
        const fixtures = exampleFixtures()
        const desk = createDesk(1400, 900)
        backend.fixtures = fixtures
        waitForRendering(desk)
        const strips = DeskTesting.stripsIn(desk)
        compare(strips.map(strip => strip.name), fixtures.map(fixture => fixture.name))
        for (let i = 0; i < strips.length; ++i) {
            const fixture = fixtures[i]
            const channels = fixture.capabilities.channels
            const kinds = DeskTesting.controlsIn(strips[i]).map(control => {
                const entry = channels[String(control.channel)]
                const type = entry && entry.controlType
                compare(DeskTesting.controlKind(control), type === "button" || type === "xy" ? type : "fader",
                        fixture.name + " channel " + control.channel)
                compare(control.universe, fixture.universe)
                return control.channel
            })
            compare(kinds.slice().sort((a, b) => a - b),
                    Array.from({ length: fixture.channelCount }, (_, k) => fixture.startChannel + k))
            compare(strips[i].height, 460)
            compare(strips[i].width, strips[i].implicitWidth)
        }
        const booth = strips[fixtures.findIndex(fixture => fixture.deviceType.toLowerCase().indexOf("rgb") >= 0)]
        compare(DeskTesting.controlsIn(booth).map(control => control.label).slice(0, 3), ["R", "G", "B"])
        compare(backend.calls.length, 0)
    }

    function test_narrow_desk_wraps_and_scrolls_vertically() {
        const fixtures = exampleFixtures()
        const desk = createDesk(700, 330)
        backend.fixtures = fixtures
        waitForRendering(desk)
        const scroll = findChild(desk, "fixturesScroll")
        const flow = findChild(desk, "fixturesFlow")
        compare(scroll.contentWidth, scroll.availableWidth)
        compare(flow.width, scroll.availableWidth)
        const strips = DeskTesting.stripsIn(desk)
        verify(strips[1].y > strips[0].y)
        compare(strips[0].height, 300)
        compare(desk.stripHeightFor(377), 377)
        verify(scroll.contentHeight > scroll.availableHeight)
    }

    // A new list rebuilds every strip and control in its initial state; a drag on a
    // fader inside the scrolling desk moves the fader, not the desk.
    function test_rebuild_on_fixtures_changed() {
        const fixtures = exampleFixtures()
        const desk = createDesk(700, 380)
        backend.fixtures = fixtures
        waitForRendering(desk)
        const before = DeskTesting.controlsIn(desk)
        const fader = before.find(control => DeskTesting.controlKind(control) === "fader")
        const slider = findChild(fader, "valueSlider")
        mousePress(slider, slider.width / 2, slider.height - 1)
        mouseMove(slider, slider.width / 2, slider.height / 2)
        mouseMove(slider, slider.width / 2, -30)
        mouseRelease(slider, slider.width / 2, -30)
        compare(slider.value, 255)
        compare(findChild(desk, "fixturesScroll").contentItem.contentY, 0)
        verify(backend.calls.length > 0)
        backend.clearCalls()

        backend.fixtures = fixtures
        waitForRendering(desk)
        const after = DeskTesting.controlsIn(desk)
        compare(after.length, before.length)
        verify(after.every(control => before.indexOf(control) < 0))
        const rebuilt = after.find(control => DeskTesting.controlKind(control) === "fader")
        compare(findChild(rebuilt, "valueSlider").value, 0)
        compare(rebuilt.lastSentValue, -1)
        compare(backend.calls.length, 0)

        backend.fixtures = []
        waitForRendering(desk)
        compare(DeskTesting.stripsIn(desk).length, 0)
    }

    name: "FixtureDeskView"
    width: 1400
    height: 900
    visible: true
    when: windowShown

    Component {
        id: deskComponent

        FixtureDeskView {}
    }
}
