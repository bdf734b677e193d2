import QtQuick
import QtTest
import "qrc:/"
import "../desk/DeskTesting.js" as DeskTesting

// The desk built from the example fixtures with the real backend, heard by liblo's oscdump.
TestCase {
    id: testCase

    function initTestCase() {
        if (!oscdump.isInstalled())
            skip("oscdump (liblo-tools) is not installed")
        const port = oscdump.start()
        verify(port > 0, "oscdump did not start")
        backend.oscTargetHost = "127.0.0.1"
        backend.oscTargetPort = port
        // oscdump binds its port a moment after it starts: probe until it answers.
        tryVerify(function() {
            backend.sendOscTyped("/ready", "", [])
            wait(50)
            return oscdump.messages.some(message => message.startsWith("/ready"))
        }, 10000, "oscdump never heard the probe")
        backend.loadFixturesFromFile(examplesDir + "/osc_fixtures.json")
        verify(backend.fixtures.length > 0, "the example fixtures did not load")
        // The pads take their width from the laid-out rows a frame later.
        waitForRendering(desk)
        waitForRendering(desk)
        waitForItemPolished(findChild(desk, "fixturesFlow"))
    }

    function cleanupTestCase() {
        oscdump.stop()
    }

    function init() {
        oscdump.clear()
    }

    function control(stripName, label) {
        const strip = DeskTesting.stripsIn(desk).find(candidate => candidate.name === stripName)
        verify(strip !== undefined, stripName)
        const found = DeskTesting.controlsIn(strip).find(candidate => candidate.label === label)
        verify(found !== undefined, stripName + " / " + label)
        return found
    }

    // The messages heard once at least `count` have arrived and no more follow.
    function awaitMessages(count) {
        tryVerify(() => oscdump.messages.length >= count, 5000, JSON.stringify(oscdump.messages))
        let heard = -1
        while (heard !== oscdump.messages.length) {
            heard = oscdump.messages.length
            wait(100)
        }
        return oscdump.messages
    }

    // A drag from bottom to top streams rising values and ends on the top value.
    function test_fader_data() {
        return [
            { tag: "float", strip: "Deck 1", label: "Volume", last: "/deck1/volume f 1.000000" },
            { tag: "global choice", strip: "Deck 1", label: "EQ Low", last: "/deck1/eq/low f 1.000000" },
            { tag: "no address", strip: "Mixer + FX", label: "Booth", last: "/osc/channel iii 0 23 127" },
        ]
    }

    function test_fader(data) {
        const slider = findChild(control(data.strip, data.label), "valueSlider")
        const x = slider.width / 2
        mousePress(slider, x, slider.height - 1)
        for (let i = 1; i <= 20; ++i) {
            mouseMove(slider, x, slider.height - 1 - i * (slider.height + 10) / 20)
            wait(10)
        }
        mouseRelease(slider, x, -10)
        const messages = awaitMessages(2)
        const prefix = data.last.substring(0, data.last.lastIndexOf(" ") + 1)
        const values = messages.map(message => message.startsWith(prefix) ? Number(message.substring(prefix.length)) : NaN)
        compare(messages[messages.length - 1], data.last)
        verify(values.every((value, i) => value >= (i > 0 ? values[i - 1] : 0)), JSON.stringify(messages))
    }

    // Toggle buttons are clicked twice, momentary ones pressed and released once, the pad
    // pressed at its top-left corner.
    function test_press_data() {
        return [
            { tag: "toggle T", strip: "Deck 1", label: "Play", expected: ["/deck1/play T #T", "/deck1/play F #F"] },
            { tag: "momentary text", strip: "Mixer + FX", label: "Echo", expected: ['/fx/1/preset s "echo"'] },
            { tag: "momentary, no address", strip: "Mixer + FX", label: "Tap",
              expected: ["/osc/channel iii 0 30 127", "/osc/channel iii 0 30 0"] },
            { tag: "pad corner", strip: "Deck 1", label: "Jog", expected: ["/deck1/jog ff 0.000000 1.000000"] },
        ]
    }

    function test_press(data) {
        const item = control(data.strip, data.label)
        const target = findChild(item, "btn") || findChild(item, "padArea")
        for (let i = 0; i < (item.mode === "toggle" ? 2 : 1); ++i) {
            mousePress(target, 0, 0)
            mouseRelease(target, 0, 0)
        }
        compare(awaitMessages(data.expected.length), data.expected)
    }

    name: "DeskOnTheWire"
    width: 1400
    height: 1100
    visible: true
    when: windowShown

    FixtureDeskView {
        id: desk

        anchors.fill: parent
    }
}
