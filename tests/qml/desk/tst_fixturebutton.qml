import QtQuick
import QtQuick.Controls
import QtTest
import "qrc:/"
import "DeskTesting.js" as DeskTesting

TestCase {
    id: testCase

    function init() {
        backend.clearCalls()
    }

    function createButton(properties) {
        const button = createTemporaryObject(buttonComponent, testCase, properties)
        verify(button !== null)
        waitForRendering(button)
        return button
    }

    function sent() {
        return DeskTesting.describeCalls(backend.calls)
    }

    // Each row: the calls after the first gesture (toggle: click on; momentary: press)
    // and after the second (toggle: click off; momentary: release).
    function test_table_data() {
        const toAddress = ['sendOscToAddress("/b",255)', 'sendOscToAddress("/b",0)']
        const bool = ['sendOscTyped("/b","T",[])', 'sendOscTyped("/b","F",[])']
        const noArgs = ['sendOscTyped("/b","",[])']
        const impulse = ['sendOscTyped("/b","I",[])']
        const text = ['sendOscTyped("/b","s",["go"])']
        const channel = ["sendOscChannel(3,9,255)", "sendOscChannel(3,9,0)"]
        const rows = []
        for (const mode of ["toggle", "momentary"]) {
            rows.push({ tag: mode + " empty", mode: mode, argType: "", address: "/b", on: toAddress.slice(0, 1), all: toAddress })
            rows.push({ tag: mode + " other", mode: mode, argType: "f", address: "/b", on: toAddress.slice(0, 1), all: toAddress })
            rows.push({ tag: mode + " T", mode: mode, argType: "T", address: "/b", on: bool.slice(0, 1), all: bool })
            rows.push({ tag: mode + " none", mode: mode, argType: "none", address: "/b", on: noArgs, all: noArgs })
            rows.push({ tag: mode + " I", mode: mode, argType: "I", address: "/b", on: impulse, all: impulse })
            rows.push({ tag: mode + " s", mode: mode, argType: "s", address: "/b", on: text, all: text })
            rows.push({ tag: mode + " no address, none", mode: mode, argType: "none", address: "", on: channel.slice(0, 1), all: channel })
            rows.push({ tag: mode + " no address, T", mode: mode, argType: "T", address: "", on: channel.slice(0, 1), all: channel })
        }
        rows.push({ tag: "unknown mode", mode: "latch", argType: "", address: "/b", on: [], all: [] })
        return rows
    }

    function test_table(data) {
        const button = createButton({ universe: 3, channel: 9, mode: data.mode, argType: data.argType,
                                      oscAddress: data.address, stringValue: "go" })
        const btn = findChild(button, "btn")
        compare(btn.checkable, data.mode === "toggle")
        if (data.mode === "momentary") {
            mousePress(btn)
            compare(sent(), data.on)
            verify(Qt.colorEqual(button.border.color, "#404040"))
            mouseRelease(btn)
        } else {
            mouseClick(btn)
            compare(sent(), data.on)
            compare(btn.checked, data.mode === "toggle")
            verify(Qt.colorEqual(button.border.color, data.mode === "toggle" ? "#4fc3f7" : "#404040"))
            mouseClick(btn)
        }
        compare(sent(), data.all)
        verify(!btn.checked)
        verify(Qt.colorEqual(button.color, "#252525"))
        compare(button.border.width, 1)
    }

    // A press that ends without a release still sends the off message, once.
    function test_momentary_cancel_data() {
        return [
            { tag: "dragged off, released outside", end: "dragOff" },
            { tag: "dragged off and back", end: "dragBack" },
            { tag: "disabled while held", end: "disable" },
            { tag: "hidden while held", end: "hide" },
        ]
    }

    function test_momentary_cancel(data) {
        const button = createButton({ mode: "momentary", argType: "T", oscAddress: "/m" })
        const btn = findChild(button, "btn")
        mousePress(btn)
        compare(sent(), ['sendOscTyped("/m","T",[])'])
        if (data.end === "dragOff" || data.end === "dragBack") {
            mouseMove(btn, btn.width + 80, btn.height + 80)
            if (data.end === "dragBack")
                mouseMove(btn, btn.width / 2, btn.height / 2)
            mouseMove(btn, btn.width + 80, btn.height + 80)
            mouseRelease(btn, btn.width + 80, btn.height + 80)
        } else if (data.end === "disable") {
            btn.enabled = false
            mouseRelease(btn)
        } else {
            button.visible = false
            mouseRelease(btn)
        }
        compare(sent(), ['sendOscTyped("/m","T",[])', 'sendOscTyped("/m","F",[])'])
        verify(!btn.pressed)
    }

    function test_texts_data() {
        return [
            { tag: "no type", label: "Play", argType: "", mode: "toggle", channelText: "9",
              toolTip: "Play  -  /p  (toggle)" },
            { tag: "none", label: "Play", argType: "none", mode: "momentary", channelText: "9 ()",
              toolTip: "Play  -  /p" },
            { tag: "typed, unlabelled", label: "", argType: "T", mode: "toggle", channelText: "9 ,T", toolTip: "" },
        ]
    }

    function test_texts(data) {
        const button = createButton({ channel: 9, label: data.label, oscAddress: "/p", mode: data.mode,
                                      argType: data.argType })
        compare(findChild(button, "channelText").text, data.channelText)
        compare(findChild(button, "labelText").text, data.label)
        const btn = findChild(button, "btn")
        btn.hoverEnabled = true
        mouseMove(btn)
        tryVerify(() => btn.hovered)
        if (data.toolTip !== "") {
            tryVerify(() => btn.ToolTip.visible)
            compare(btn.ToolTip.text, data.toolTip)
        } else {
            wait(700)
            verify(!btn.ToolTip.visible)
        }
        mouseMove(testCase, testCase.width - 1, testCase.height - 1)
    }

    name: "FixtureChannelButton"
    width: 300
    height: 300
    visible: true
    when: windowShown

    Component {
        id: buttonComponent

        FixtureChannelButton {
            x: 40
            y: 40
        }
    }
}
