import QtQuick
import QtQuick.Layouts
import QtTest
import "../desk/DeskTesting.js" as DeskTesting

// The real main mainWindow with the real backend, driven by mouse and keyboard, heard by
// liblo's oscdump and fed by liblo's oscsend.
TestCase {
    id: testCase

    property var mainWindow: null

    function child(name) {
        const found = findChild(mainWindow.contentItem, name)
        verify(found !== null, name)
        return found
    }

    function openWindow() {
        const component = Qt.createComponent("qrc:/main.qml")
        compare(component.status, Component.Ready, component.errorString())
        mainWindow = component.createObject(null)
        verify(mainWindow !== null)
        waitForRendering(mainWindow.contentItem)
    }

    function closeWindow() {
        mainWindow.close()
        mainWindow.destroy()
        mainWindow = null
        wait(0)
    }

    function control(stripName, label) {
        const strip = DeskTesting.stripsIn(mainWindow.contentItem).find(candidate => candidate.name === stripName)
        verify(strip !== undefined, stripName)
        const found = DeskTesting.controlsIn(strip).find(candidate => candidate.label === label)
        verify(found !== undefined, stripName + " / " + label)
        return found
    }

    // Waits until oscdump printed `count` new messages; returns them.
    function heard(count) {
        tryVerify(() => oscdump.messages.length >= count, 5000, JSON.stringify(oscdump.messages))
        wait(100)
        const messages = Array.from(oscdump.messages)
        oscdump.clear()
        return messages
    }

    // Collects what oscdump prints until `last` arrives; returns it all.
    function heardUntil(last) {
        let all = []
        tryVerify(function() {
            all = all.concat(oscdump.messages)
            oscdump.clear()
            return all.length > 0 && all[all.length - 1] === last
        }, 5000, last)
        return all
    }

    function lastLogLine() {
        const lines = backend.logMessages
        return lines[lines.length - 1].substring(11)
    }

    function cleanup() {
        if (mainWindow)
            closeWindow()
        testTools.removeFile(testTools.configFolder + "/ui.ini")
    }

    function test_fromTheHandToTheWire() {
        if (!testTools.isInstalled("oscdump") || !testTools.isInstalled("oscsend"))
            skip("liblo-tools is not installed")
        verify(testTools.copyFile(examplesDir + "/osc_fixtures.json",
                                  testTools.configFolder + "/osc_fixtures.json"))
        const port = oscdump.start()
        verify(port > 0, "oscdump did not start")
        openWindow()

        // The target: the port one below, then up by the spin box's own key.
        backend.oscTargetPort = port - 1
        const portField = child("oscPortField")
        portField.forceActiveFocus()
        keyClick(Qt.Key_Up)
        compare(backend.oscTargetPort, port)
        tryVerify(function() {
            backend.sendOscTyped("/ready", "", [])
            wait(50)
            return oscdump.messages.some(message => message.startsWith("/ready"))
        }, 10000, "oscdump never heard the probe")
        oscdump.clear()

        // The desk, loaded through its own button.
        mouseClick(findChild(mainWindow.contentItem, "reloadButton"))
        compare(backend.fixtures.length, 4)
        compare(lastLogLine(), "[INFO] Loaded 4 fixtures from " + testTools.configFolder + "/osc_fixtures.json")
        waitForRendering(mainWindow.contentItem)
        waitForRendering(mainWindow.contentItem)

        const volume = control("Deck 1", "Volume")
        const slider = findChild(volume, "valueSlider")
        mousePress(slider, slider.width / 2, slider.height - 6)
        for (let y = slider.height - 6; y >= 0; y -= 10)
            mouseMove(slider, slider.width / 2, y, 5)
        mouseRelease(slider, slider.width / 2, 0)
        let messages = heardUntil("/deck1/volume f 1.000000")
        verify(messages.length >= 2, JSON.stringify(messages))
        verify(messages.every(m => m.startsWith("/deck1/volume f ")), JSON.stringify(messages))

        const play = findChild(control("Deck 1", "Play"), "btn")
        mouseClick(play)
        mouseClick(play)
        compare(heard(2), ["/deck1/play T #T", "/deck1/play F #F"])

        const cue = findChild(control("Deck 1", "Cue"), "btn")
        mousePress(cue)
        compare(heard(1), ["/deck1/cue f 1.000000"])
        mouseRelease(cue)
        compare(heard(1), ["/deck1/cue f 0.000000"])

        const pad = findChild(control("Deck 1", "Jog"), "pad")
        mousePress(pad, 0, 0)
        compare(heard(1), ["/deck1/jog ff 0.000000 1.000000"])
        mouseMove(pad, -40, pad.height + 40, 5)
        mouseRelease(pad, -40, pad.height + 40)
        compare(heardUntil("/deck1/jog ff 0.000000 0.000000").length, 1)

        const test = child("testButton")
        mouseClick(test)
        compare(heard(2), ["/deck1/play f 1.000000", "/deck1/play f 0.000000"])

        mouseClick(child("intValuesCheck"))
        verify(backend.sendIntValues)
        mouseClick(child("bundleCheck"))
        verify(backend.sendAsBundle)
        mouseClick(test)
        compare(heard(2), ["/deck1/play i 127", "/deck1/play i 0"])
        verify(lastLogLine().startsWith("[INFO] TX OSC [bundle] /deck1/play ,i 0, size=40 bytes"), lastLogLine())

        // A host name is refused at the send, with one warning and nothing on the wire.
        const host = child("oscHostField")
        mouseClick(host)
        keySequence(StandardKey.SelectAll)
        for (const letter of "localhost")
            keyClick(letter)
        keyClick(Qt.Key_Return)
        compare(backend.oscTargetHost, "localhost")
        mouseClick(test)
        compare(lastLogLine(), "[WARNING] Cannot send OSC: invalid target host 'localhost'.")
        wait(200)
        compare(oscdump.messages, [])

        // The receiving device, fed by oscsend, seen in the status panel and the log view.
        mouseClick(child("statusToggle"))
        mouseClick(child("portToggle"))
        waitForRendering(mainWindow.contentItem)
        compare(child("statusText").text, "Ready")
        mouseClick(child("startButton"))
        verify(backend.isRunning, lastLogLine())
        compare(child("statusText").text, "Listening OSC on UDP 9000")
        compare(child("statusDetailText").text, "Packets: 0 | Port: 9000")
        verify(!child("startButton").enabled && child("stopButton").enabled)
        verify(!child("portComboBox").enabled && !child("deviceComboBox").enabled && !child("refreshButton").enabled)
        compare(testTools.run("oscsend", ["localhost", "9000", "/osc/channel", "iii", "0", "2", "180"]), 0)
        tryCompare(backend, "greenValue", 180)
        compare(testTools.run("oscsend", ["localhost", "9000", "/deck1/play", "f", "1.0"]), 0)
        tryVerify(() => lastLogLine() === "[CRITICAL] Protocol Error: Unsupported OSC address: '/deck1/play'")
        const log = child("logListView")
        tryCompare(log, "count", backend.logMessages.length)
        compare(mainWindow.logColor(backend.logMessages[log.count - 1]), "#f44336")
        mouseClick(child("stopButton"))
        verify(!backend.isRunning)
        compare(child("statusText").text, "Stopped")
        compare(child("statusDetailText").text, "Select OSC UDP port and device to start")
        compare(backend.greenValue, 0)
        oscdump.stop()
    }

    // What the target answers, heard by the monitor: rows in its list, the bytes of one
    // explained, and the desk's controls moved without a datagram going back; a control
    // held by the hand keeps its place.
    function test_feedbackMovesTheDesk() {
        if (!testTools.isInstalled("oscdump") || !testTools.isInstalled("oscsend"))
            skip("liblo-tools is not installed")
        verify(testTools.copyFile(examplesDir + "/osc_fixtures.json", testTools.configFolder + "/osc_fixtures.json"))
        backend.oscTargetPort = oscdump.start()
        openWindow()
        mouseClick(child("reloadButton"))
        mouseClick(child("monitorToggle"))
        waitForRendering(mainWindow.contentItem)
        mouseClick(child("monitorStartButton"))
        verify(monitor.running)
        const answer = (...words) => compare(testTools.run("oscsend", ["127.0.0.1", String(monitor.port)].concat(words)), 0)

        const volume = findChild(control("Deck 1", "Volume"), "valueSlider")
        const eqHi = findChild(control("Deck 1", "EQ Hi"), "valueSlider")
        const play = findChild(control("Deck 1", "Play"), "btn")
        const pad = control("Deck 1", "Jog")
        const green = findChild(control("Booth Light", "G"), "valueSlider")
        answer("/deck1/volume", "f", "0.5")
        answer("/deck1/eq/high", "i", "127")
        answer("/deck1/play", "T")
        answer("/deck1/jog", "ff", "0.25", "1.0")
        answer("/osc/channel", "iii", "1", "2", "127")
        tryCompare(green, "value", 255)
        compare([volume.value, eqHi.value, play.checked, pad.xValue, pad.yValue], [127.5, 255, true, 0.25, 1])
        compare(child("monitorRows").count, 5)
        wait(100)
        compare(oscdump.messages, [])

        mousePress(volume, volume.width / 2, volume.height / 4)
        const held = volume.value
        answer("/deck1/volume", "f", "0.0")
        tryCompare(child("monitorRows"), "count", 6)
        wait(100)
        compare(volume.value, held)
        mouseRelease(volume, volume.width / 2, volume.height / 4)

        const rows = child("monitorRows")
        rows.currentIndex = 0
        compare(child("inspector").count, 5)
        compare(child("inspector").itemAtIndex(0).text.trim(), "0  2f 64 65 63 6b 31 2f 76 6f 6c 75 6d 65   address /deck1/volume")
        mouseClick(child("monitorStopButton"))
        verify(!monitor.running)
        oscdump.stop()
    }

    // What the desk sends while recording, played back: the same datagrams in the same
    // order, as the TX lines' bytes and oscdump say.
    function test_recordThenReplay() {
        if (!testTools.isInstalled("oscdump"))
            skip("liblo-tools is not installed")
        verify(testTools.copyFile(examplesDir + "/osc_fixtures.json", testTools.configFolder + "/osc_fixtures.json"))
        backend.oscTargetHost = "127.0.0.1"
        backend.oscTargetPort = oscdump.start()
        backend.sendAsBundle = false
        backend.sendIntValues = false
        openWindow()
        mouseClick(child("reloadButton"))
        mouseClick(child("scenarioToggle"))
        waitForRendering(mainWindow.contentItem)
        // The bytes of each TX line: bundling, size and hex (the description may word a value otherwise).
        const sentLines = () => backend.logMessages.filter(line => line.indexOf("[INFO] TX OSC") >= 0)
                                                   .map(line => /TX OSC (\[bundle\] )?.*(size=.*)/.exec(line).slice(1).join(""))

        mouseClick(child("recordButton"))
        verify(scenarios.recording)
        const before = sentLines().length
        mouseClick(findChild(control("Deck 1", "Play"), "btn"))
        mouseClick(findChild(control("Deck 2", "Sync"), "btn"))
        const pad = findChild(control("Deck 1", "Jog"), "pad")
        mouseClick(pad, pad.width / 4, pad.height / 4)
        mouseClick(child("bundleCheck"))
        mouseClick(child("intValuesCheck"))
        mouseClick(child("testButton"))
        backend.sendOscTyped("/fx/name", "sbhdTFNI", ["é\"", "blob", 9007199254740993, -0.1])
        const recorded = sentLines().slice(before)
        compare(recorded.length, 6, JSON.stringify(recorded))
        const heardThen = heard(recorded.length)
        compare(scenarios.recordedSteps, recorded.length)
        const file = testTools.configFolder + "/recorded.json"
        scenarios.stopRecording(file)
        verify(!scenarios.recording)

        mouseClick(child("bundleCheck"))
        scenarios.play(file)
        tryVerify(() => !scenarios.playing, 5000)
        const replayed = sentLines().slice(before + recorded.length)
        compare(replayed, recorded)
        compare(heard(recorded.length), heardThen)
        oscdump.stop()
    }

    function test_logColours_data() {
        return [
            { tag: "info", line: "[10:00:00] [INFO] TX OSC", colour: "#ffffff" },
            { tag: "warning", line: "[10:00:00] [WARNING] Cannot send OSC", colour: "#ff9800" },
            { tag: "critical", line: "[10:00:00] [CRITICAL] Protocol Error", colour: "#f44336" },
            { tag: "both", line: "[10:00:00] [WARNING] said [CRITICAL] later", colour: "#f44336" },
            { tag: "debug", line: "[10:00:00] [DEBUG] x", colour: "#9e9e9e" },
            { tag: "untagged", line: "[10:00:00] plain", colour: "#ffffff" },
        ]
    }

    function test_logColours(data) {
        openWindow()
        compare(mainWindow.logColor(data.line), data.colour)
    }

    function test_footerStandsInForTheLog() {
        openWindow()
        const footer = child("footer")
        verify(!footer.visible)
        mouseClick(child("hideLogButton"))
        verify(!child("logPanel").visible)
        backend.clearLog()
        verify(!footer.visible)
        backend.sendOscChannel(0, 0, 1)
        verify(footer.visible)
        compare(child("footerText").color, "#ff9800")
        mouseClick(child("showLogButton"))
        verify(child("logPanel").visible && !footer.visible)
    }

    function test_layoutSurvivesARestart() {
        openWindow()
        compare([child("statusToggle").checked, child("portToggle").checked, child("targetToggle").checked,
                 child("logToggle").checked], [false, false, true, true])
        compare(child("logPanel").height, 200)
        mouseClick(child("statusToggle"))
        mouseClick(child("targetToggle"))
        // Drag the split's handle up by 100 px: the log panel grows.
        const split = child("mainSplit")
        const logPanel = child("logPanel")
        const handleY = logPanel.mapToItem(split, 0, 0).y - 4
        mouseDrag(split, split.width / 2, handleY, 0, -100)
        waitForRendering(mainWindow.contentItem)
        const grown = logPanel.height
        verify(grown > 250, "log panel height " + grown)
        closeWindow()

        openWindow()
        compare([child("statusToggle").checked, child("targetToggle").checked], [true, false])
        tryCompare(child("logPanel"), "height", grown)
    }

    function test_corruptLayoutGivesDefaults_data() {
        return [
            { tag: "missing", text: null },
            { tag: "garbage", text: "\u0000\u0001not an ini file\n[[[Layout\nshowLog=maybe\nsplitState=@ByteArray(zz)\n" },
            { tag: "bad split state", text: "[Layout]\nsplitState=12\n" },
        ]
    }

    function test_corruptLayoutGivesDefaults(data) {
        if (data.text !== null)
            verify(testTools.writeFile(testTools.configFolder + "/ui.ini", data.text))
        openWindow()
        compare([child("statusToggle").checked, child("portToggle").checked, child("targetToggle").checked,
                 child("logToggle").checked], [false, false, true, true])
        wait(50)
        compare(child("logPanel").height, 200)
    }

    function sizes() {
        return [
            { tag: "start size", width: 1400, height: 900 },
            { tag: "minimum size", width: 900, height: 560 },
        ]
    }

    function openWindowAt(size) {
        openWindow()
        mainWindow.width = size.width
        mainWindow.height = size.height
        waitForRendering(mainWindow.contentItem)
    }

    function test_startAndStopShareTheRow_data() {
        return sizes()
    }

    function test_startAndStopShareTheRow(data) {
        openWindowAt(data)
        mouseClick(child("portToggle"))
        waitForRendering(mainWindow.contentItem)
        compare([child("portGroup").width, child("deviceGroup").width], [260, 220])
        const start = child("startButton")
        const stop = child("stopButton")
        compare(start.width, stop.width)
        for (const button of [start, stop]) {
            const needed = button.contentItem.implicitWidth + button.leftPadding + button.rightPadding
            verify(button.width >= needed, button.text + ": " + button.width + " < " + needed)
        }
    }

    // The log enlarged by its handle, then every panel shown: its header, its minimum
    // height and its newest line stay inside the window.
    function test_logStaysInTheWindow_data() {
        return sizes()
    }

    function test_logStaysInTheWindow(data) {
        openWindowAt(data)
        const split = child("mainSplit")
        const logPanel = child("logPanel")
        mouseDrag(split, split.width / 2, logPanel.mapToItem(split, 0, 0).y - 4, 0, -400)
        mouseClick(child("statusToggle"))
        mouseClick(child("portToggle"))
        for (let i = 0; i < 40; ++i)
            backend.sendOscChannel(0, 0, i)
        waitForRendering(mainWindow.contentItem)
        const bottom = logPanel.mapToItem(mainWindow.contentItem, 0, logPanel.height).y
        verify(bottom <= mainWindow.contentItem.height, "log ends at " + bottom)
        verify(logPanel.height >= 90, "log height " + logPanel.height)
        const list = child("logListView")
        verify(list.height > 0)
        tryVerify(() => list.atYEnd, 2000, "the newest line is not in view")
    }

    function test_minimumSize() {
        openWindow()
        compare(mainWindow.minimumWidth, 900)
        compare(mainWindow.minimumHeight, 560)
        mainWindow.width = 900
        mainWindow.height = 560
        waitForRendering(mainWindow.contentItem)
        // Every check box of the toolbar still fits.
        const toolbar = child("toolbar")
        verify(toolbar.Layout.minimumWidth <= 880, toolbar.Layout.minimumWidth)
        verify(toolbar.width >= toolbar.Layout.minimumWidth, toolbar.width)
    }

    name: "MainWindow"
    when: windowShown
}
