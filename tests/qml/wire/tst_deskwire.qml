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

    function awaitMessages(count) {
        tryVerify(() => oscdump.messages.length >= count, 5000, JSON.stringify(oscdump.messages))
        wait(100)
        return oscdump.messages
    }

    function test_fader_data() {
        return [
            { tag: "float", strip: "Deck 1", label: "Volume", prefix: "/deck1/volume f ", last: "/deck1/volume f 1.000000" },
            { tag: "int", strip: "Deck 1", label: "EQ Hi", prefix: "/deck1/eq/high i ", last: "/deck1/eq/high i 127" },
            { tag: "int64", strip: "Deck 1", label: "EQ Mid", prefix: "/deck1/eq/mid h ", last: "/deck1/eq/mid h 127" },
            { tag: "global choice", strip: "Deck 1", label: "EQ Low", prefix: "/deck1/eq/low f ", last: "/deck1/eq/low f 1.000000" },
            { tag: "channel message", strip: "Mixer + FX", label: "Booth", prefix: "/osc/channel iii 0 23 ",
              last: "/osc/channel iii 0 23 127" },
        ]
    }

    // A drag from bottom to top streams rising values and ends on the top value.
    function test_fader(data) {
        const slider = findChild(control(data.strip, data.label), "valueSlider")
        const x = slider.width / 2
        mousePress(slider, x, slider.height - 1)
        for (let i = 1; i <= 20; ++i) {
            mouseMove(slider, x, slider.height - 1 - i * (slider.height + 10) / 20)
            wait(10)
        }
        mouseRelease(slider, x, -10)
        tryVerify(() => oscdump.messages.indexOf(data.last) >= 0, 5000, JSON.stringify(oscdump.messages))
        wait(100)
        const messages = oscdump.messages
        verify(messages.length >= 2, JSON.stringify(messages))
        compare(messages[messages.length - 1], data.last)
        let previous = -1
        for (const message of messages) {
            verify(message.startsWith(data.prefix), message)
            const value = Number(message.substring(data.prefix.length))
            verify(value >= previous, JSON.stringify(messages))
            previous = value
        }
    }

    function test_button_data() {
        return [
            { tag: "toggle T", strip: "Deck 1", label: "Play", gesture: "twoClicks",
              expected: ["/deck1/play T #T", "/deck1/play F #F"] },
            { tag: "momentary number", strip: "Deck 1", label: "Cue", gesture: "pressRelease",
              expected: ["/deck1/cue f 1.000000", "/deck1/cue f 0.000000"] },
            { tag: "momentary text", strip: "Mixer + FX", label: "Echo", gesture: "pressRelease",
              expected: ['/fx/1/preset s "echo"'] },
            { tag: "momentary impulse", strip: "Deck 1", label: "Sync", gesture: "pressRelease",
              expected: ["/deck1/sync I Infinitum"] },
            { tag: "momentary without arguments", strip: "Deck 1", label: "Hot Cue 1", gesture: "pressRelease",
              expected: ["/deck1/hotcue/1"] },
            { tag: "no address", strip: "Mixer + FX", label: "Tap", gesture: "pressRelease",
              expected: ["/osc/channel iii 0 30 127", "/osc/channel iii 0 30 0"] },
        ]
    }

    function test_button(data) {
        const btn = findChild(control(data.strip, data.label), "btn")
        if (data.gesture === "twoClicks") {
            mouseClick(btn)
            mouseClick(btn)
        } else {
            mousePress(btn)
            mouseRelease(btn)
        }
        compare(awaitMessages(data.expected.length), data.expected)
    }

    function test_xy_pad_corner() {
        const area = findChild(control("Deck 1", "Jog"), "padArea")
        mousePress(area, 0, 0)
        mouseRelease(area, 0, 0)
        compare(awaitMessages(1), ["/deck1/jog ff 0.000000 1.000000"])
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
