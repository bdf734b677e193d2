import QtQuick
import QtQuick.Layouts
import QtTest
import "../desk/DeskTesting.js" as DeskTesting

// The real main window with the real backend, driven by mouse and keyboard, heard by
// liblo's oscdump and fed by liblo's oscsend.
TestCase {
    id: testCase

    property var mainWindow: null

    function child(name) {
        const found = findChild(mainWindow.contentItem, name)
        verify(found !== null, name)
        return found
    }

    function openWindow(size) {
        mainWindow = Qt.createComponent("qrc:/main.qml").createObject(null, size || {})
        verify(mainWindow !== null)
        waitForRendering(mainWindow.contentItem)
    }

    function closeWindow() {
        mainWindow.close()
        mainWindow.destroy()
        mainWindow = null
        wait(0)
    }

    function cleanup() {
        if (mainWindow)
            closeWindow()
        testTools.writeFile(testTools.configFolder + "/ui.ini", "")
    }

    // The button itself for a button, else the control, once its strip is built.
    function control(stripName, label) {
        let found = null
        tryVerify(() => (found = DeskTesting.control(mainWindow.contentItem, stripName, label)) !== null,
                  5000, stripName + " " + label)
        return findChild(found, "btn") || found
    }

    // The messages oscdump printed since the last call, once there are at least `count`.
    function heard(count) {
        tryVerify(() => testTools.oscDumpMessages.length >= count, 5000, testTools.oscDumpMessages.join(" | "))
        const messages = Array.from(testTools.oscDumpMessages)
        testTools.clearOscDump()
        return messages
    }

    function clipboardText() {
        clipboardReader.clear()
        clipboardReader.paste()
        return clipboardReader.text
    }

    function lastLogLine() {
        return backend.logMessages[backend.logMessages.length - 1].substring(11)
    }

    function toggles() {
        return ["statusToggle", "portToggle", "targetToggle", "logToggle"].map(name => child(name).checked)
    }

    function test_fromTheHandToTheWire() {
        if (!testTools.isInstalled("oscdump") || !testTools.isInstalled("oscsend"))
            skip("liblo-tools is not installed")
        verify(testTools.writeFile(testTools.configFolder + "/osc_fixtures.json",
                                   testTools.readFile(examplesDir + "/osc_fixtures.json")))
        const port = testTools.startOscDump()
        verify(port > 0, "oscdump did not start")
        openWindow()

        // The target: the port one below, then up by the spin box's own key.
        backend.oscTargetPort = port - 1
        child("oscPortField").forceActiveFocus()
        keyClick(Qt.Key_Up)
        compare(backend.oscTargetPort, port)
        mouseClick(child("reloadButton"))
        compare(lastLogLine(), "[INFO] Loaded 4 fixtures from " + testTools.configFolder + "/osc_fixtures.json")
        waitForRendering(mainWindow.contentItem)
        waitForRendering(mainWindow.contentItem)

        const slider = findChild(control("Deck 1", "Volume"), "valueSlider")
        mousePress(slider, slider.width / 2, slider.height - 6)
        for (let y = slider.height - 6; y >= 0; y -= 10)
            mouseMove(slider, slider.width / 2, y, 5)
        mouseRelease(slider, slider.width / 2, 0)
        tryVerify(() => testTools.oscDumpMessages.indexOf("/deck1/volume f 1.000000") >= 0)
        const moves = heard(2)
        verify(moves.every(m => m.startsWith("/deck1/volume f ")), JSON.stringify(moves))
        mouseClick(control("Deck 1", "Play"))
        mouseClick(control("Deck 1", "Play"))
        compare(heard(2), ["/deck1/play T #T", "/deck1/play F #F"])
        mousePress(control("Deck 1", "Cue"))
        compare(heard(1), ["/deck1/cue f 1.000000"])
        mouseRelease(control("Deck 1", "Cue"))
        compare(heard(1), ["/deck1/cue f 0.000000"])
        const pad = findChild(control("Deck 1", "Jog"), "pad")
        mousePress(pad, 0, 0)
        compare(heard(1), ["/deck1/jog ff 0.000000 1.000000"])
        mouseRelease(pad, 0, 0)

        mouseClick(child("testButton"))
        compare(heard(2), ["/deck1/play f 1.000000", "/deck1/play f 0.000000"])
        mouseClick(child("intValuesCheck"))
        mouseClick(child("bundleCheck"))
        mouseClick(child("testButton"))
        compare(heard(2), ["/deck1/play i 127", "/deck1/play i 0"])
        verify(lastLogLine().startsWith("[INFO] TX OSC [bundle] /deck1/play ,i 0, size=40 bytes"), lastLogLine())

        // A host name is refused at the send, with one warning and nothing on the wire.
        mouseClick(child("oscHostField"))
        keySequence(StandardKey.SelectAll)
        for (const letter of "mixer")
            keyClick(letter)
        keyClick(Qt.Key_Return)
        mouseClick(child("testButton"))
        compare(lastLogLine(), "[WARNING] Cannot send OSC: invalid target host 'mixer'.")
        verify(!testTools.waitForOscDump(1, 200))
        testTools.stopOscDump()

        // The receiving device, fed by oscsend, seen in the status panel and the log view.
        mouseClick(child("statusToggle"))
        mouseClick(child("portToggle"))
        waitForRendering(mainWindow.contentItem)
        mouseClick(child("startButton"))
        compare([child("statusText").text, child("statusDetailText").text],
                ["Listening OSC on UDP 9000", "Packets: 0 | Port: 9000"])
        verify(!child("startButton").enabled && child("stopButton").enabled && !child("portComboBox").enabled)
        compare(testTools.run("oscsend", ["127.0.0.1", "9000", "/osc/channel", "iii", "0", "2", "180"]), 0)
        tryCompare(backend, "greenValue", 180)
        compare(testTools.run("oscsend", ["127.0.0.1", "9000", "/deck1/play", "f", "1.0"]), 0)
        tryVerify(() => lastLogLine() === "[CRITICAL] Protocol Error: Unsupported OSC address: '/deck1/play'")
        tryCompare(child("logListView"), "count", backend.logMessages.length)
        mouseClick(child("stopButton"))
        compare([child("statusText").text, child("statusDetailText").text, backend.greenValue],
                ["Stopped", "Select OSC UDP port and device to start", 0])
    }

    // A line's colour is its level's, the worst tag first; the hidden log leaves its newest
    // line in the footer.
    // What the target answers, heard by the monitor: rows in its list, the bytes of one
    // explained, and the desk's controls moved without a datagram going back; a control
    // held by the hand keeps its place.
    function test_feedbackMovesTheDesk() {
        if (!testTools.isInstalled("oscdump") || !testTools.isInstalled("oscsend"))
            skip("liblo-tools is not installed")
        verify(testTools.writeFile(testTools.configFolder + "/osc_fixtures.json",
                                   testTools.readFile(examplesDir + "/osc_fixtures.json")))
        backend.oscTargetPort = testTools.startOscDump()
        openWindow()
        mouseClick(child("reloadButton"))
        mouseClick(child("monitorToggle"))
        waitForRendering(mainWindow.contentItem)
        mouseClick(child("monitorStartButton"))
        verify(monitor.running)
        const answer = (...words) => compare(testTools.run("oscsend", ["127.0.0.1", String(monitor.port)].concat(words)), 0)

        answer("/deck1/volume", "f", "0.5")
        answer("/deck1/eq/high", "i", "127")
        answer("/deck1/play", "T")
        answer("/deck1/jog", "ff", "0.25", "1.0")
        answer("/osc/channel", "iii", "1", "2", "127")
        // The last strip, out of view, is built when scrolled to, and Deck 1's again when
        // scrolled back: each shows what came meanwhile.
        const view = child("fixturesScroll").contentItem
        view.contentY = view.contentHeight - view.height
        tryCompare(findChild(control("Booth Light", "G"), "valueSlider"), "value", 255)
        view.contentY = 0
        const volume = findChild(control("Deck 1", "Volume"), "valueSlider")
        const eqHi = findChild(control("Deck 1", "EQ Hi"), "valueSlider")
        const play = control("Deck 1", "Play")
        const pad = control("Deck 1", "Jog")
        compare([volume.value, eqHi.value, play.checked, pad.xValue, pad.yValue], [127.5, 255, true, 0.25, 1])
        compare(child("monitorRows").count, 5)
        wait(100)
        compare(testTools.oscDumpMessages, [])

        mousePress(volume, volume.width / 2, volume.height / 4)
        const held = volume.value
        answer("/deck1/volume", "f", "0.0")
        tryCompare(child("monitorRows"), "count", 6)
        wait(100)
        compare(volume.value, held)
        mouseRelease(volume, volume.width / 2, volume.height / 4)

        const rows = child("monitorRows")
        monitor.selectedRow = 0
        compare(child("inspector").count, 5)
        compare(child("inspector").itemAtIndex(0).text.trim(), "0  2f 64 65 63 6b 31 2f 76 6f 6c 75 6d 65   address /deck1/volume")
        mouseClick(child("monitorStopButton"))
        verify(!monitor.running)
        testTools.stopOscDump()
    }

    // A press that moves the control: a fader from bottom to top, a pad at its top-left
    // corner, a button clicked.
    function play(item) {
        const slider = findChild(item, "valueSlider")
        const pad = findChild(item, "pad")
        if (slider) {
            mousePress(slider, slider.width / 2, slider.height - 6)
            mouseMove(slider, slider.width / 2, slider.height / 2, 5)
            mouseRelease(slider, slider.width / 2, 0)
        } else if (pad) {
            mousePress(pad, 0, 0)
            mouseRelease(pad, 0, 0)
        } else {
            mouseClick(item)
        }
    }

    function test_learnThenPlay_data() {
        return [
            { tag: "f", words: ["/learn/level", "f", "0.5"], label: "level", heard: "/learn/level f " },
            { tag: "i", words: ["/learn/step", "i", "3"], label: "step", heard: "/learn/step i " },
            { tag: "T", words: ["/learn/on", "T"], label: "on", heard: "/learn/on T" },
            { tag: "ff", words: ["/learn/pad", "ff", "0.1", "0.2"], label: "pad", heard: "/learn/pad ff " },
            { tag: "s", words: ["/learn/scene", "s", "intro"], label: "scene", heard: "/learn/scene s \"intro\"" },
            { tag: "none", words: ["/learn/go"], label: "go", heard: "/learn/go" }
        ]
    }

    // What the target announces becomes a control ("Aprender"), once per address; while the
    // desk is edited a click on it only selects it and an address with a blank is refused with
    // its reason; out of edit mode it sends the address and type it was learned from.
    function test_learnThenPlay(data) {
        if (!testTools.isInstalled("oscdump") || !testTools.isInstalled("oscsend"))
            skip("liblo-tools is not installed")
        verify(testTools.writeFile(testTools.configFolder + "/osc_fixtures.json", JSON.stringify({ fixtures: [] })))
        backend.oscTargetHost = "127.0.0.1"
        backend.oscTargetPort = testTools.startOscDump()
        openWindow()
        mouseClick(child("reloadButton"))
        mouseClick(child("monitorToggle"))
        waitForRendering(mainWindow.contentItem)
        mouseClick(child("monitorStartButton"))
        monitor.clear()
        deskEditor.learning = false
        mouseClick(child("learnCheck"))
        verify(deskEditor.learning)
        for (let i = 0; i < 2; ++i)
            compare(testTools.run("oscsend", ["127.0.0.1", String(monitor.port)].concat(data.words)), 0)
        tryCompare(child("monitorRows"), "count", 2)
        mouseClick(child("learnCheck"))
        let learned = control("Aprendido", data.label)
        const strip = DeskTesting.findAll(mainWindow.contentItem,
                                          item => DeskTesting.isStrip(item) && item.name === "Aprendido")[0]
        compare(DeskTesting.findAll(strip, item => item.channel !== undefined).length, 1)
        compare(child("deskTitle").text, "Mesa OSC (fixtures) *")

        mouseClick(child("editDeskButton"))
        verify(deskEditor.editing)
        play(learned)
        compare([deskEditor.selectedStrip >= 0, deskEditor.selectedChannel], [true, 0])
        const address = child("oscAddressField")
        compare(address.text, data.words[0])
        address.forceActiveFocus()
        address.selectAll()
        for (const letter of "/a b")
            keyClick(letter)
        keyClick(Qt.Key_Return)
        const reason = child("oscAddressReason")
        verify(reason.visible && reason.text !== "", reason.text)
        verify(lastLogLine().startsWith("[WARNING]") && lastLogLine().indexOf(reason.text) >= 0, lastLogLine())
        compare(deskEditor.controlFields(deskEditor.selectedStrip, 0).oscAddress, data.words[0])
        verify(!testTools.waitForOscDump(1, 300), testTools.oscDumpMessages.join(" | "))

        mouseClick(child("editDeskButton"))
        verify(!deskEditor.editing)
        // The editor's panel is gone: the strips move up once the layout has settled.
        waitForRendering(mainWindow.contentItem)
        wait(50)
        play(control("Aprendido", data.label))
        const messages = heard(1)
        verify(messages.every(m => m.startsWith(data.heard)), messages.join(" | "))
        testTools.stopOscDump()
        mouseClick(child("monitorStopButton"))

        // Closing asks about the unsaved desk; "Descartar" drops what was learned.
        const question = findChild(mainWindow, "closeQuestion")
        mainWindow.close()
        verify(question.visible)
        mouseClick(visibleItem(mainWindow.contentItem.parent, "closeDiscardButton"))
        tryVerify(() => !mainWindow.visible)
        verify(!deskEditor.modified)
    }

    // The monitor's selection stays on its row while a filter is typed and cleared; the list
    // follows the newest row through a resize, until scrolled up; a row, its bytes and a log
    // line are copied by Ctrl+C and by their context menus.
    function test_monitorSelectionAndCopy() {
        openWindow({ width: 1400, height: 900 })
        mouseClick(child("monitorToggle"))
        waitForRendering(mainWindow.contentItem)
        // The desk's sends come back as the target's answers.
        backend.oscTargetHost = "127.0.0.1"
        backend.oscTargetPort = monitor.port
        backend.sendAsBundle = false
        monitor.clear()
        mouseClick(child("monitorStartButton"))
        verify(monitor.running)
        const rows = child("monitorRows")
        const send = count => {
            const before = rows.count
            for (let i = before; i < before + count; ++i)
                backend.sendOscTyped("/a/" + i % 3, "i", [i])
            tryCompare(rows, "count", before + count)
        }
        send(60)
        const newestInView = () => {
            const item = rows.itemAtIndex(rows.count - 1)
            return item !== null && item.y >= rows.contentY && item.y + item.height <= rows.contentY + rows.height + 1
        }
        tryVerify(newestInView)
        const row58 = rows.itemAtIndex(58)
        mouseClick(row58, 10, row58.height / 2)
        compare(monitor.selectedRow, 58)
        const inspected = () => child("inspector").count > 0 ? child("inspector").itemAtIndex(4).text.trim() : ""
        compare(inspected(), "12  00 00 00 3a   int32 58")

        // "/a/1" matches rows 1, 4, ..., 58: the selected row is the 20th; before, it is hidden.
        mouseClick(child("monitorFilterField"))
        for (const [letter, selected] of [["/", -1], ["a", -1], ["/", -1], ["1", 19]]) {
            keyClick(letter)
            compare([monitor.selectedRow, child("inspector").count > 0], [selected, selected >= 0], letter)
        }
        compare(inspected(), "12  00 00 00 3a   int32 58")
        keySequence(StandardKey.SelectAll)
        keyClick(Qt.Key_Backspace)
        compare([monitor.selectedRow, inspected()], [58, "12  00 00 00 3a   int32 58"])

        mouseClick(rows.itemAtIndex(58), 10, 5)
        keySequence(StandardKey.Copy)
        compare(clipboardText(), monitor.line(58))
        verify(/^\d\d:\d\d:\d\d\.\d{3} RX 127\.0\.0\.1:\d+ \/a\/1 ,i 58  \+\d+ ms$/.test(clipboardText()), clipboardText())
        mouseClick(rows.itemAtIndex(57), 10, 5, Qt.RightButton)
        compare(monitor.selectedRow, 57)
        const rowMenu = findChild(mainWindow, "monitorRowMenu")
        tryCompare(rowMenu, "opened", true)
        mouseClick(findChild(rowMenu.contentItem, "copyRowHexItem"))
        tryCompare(rowMenu, "visible", false)
        compare(clipboardText(), "2f612f30000000002c69000000000039")

        // Resized by the scenario panel, the list still follows; scrolled up, it stays.
        for (const shown of [true, false]) {
            mouseClick(child("scenarioToggle"))
            waitForRendering(mainWindow.contentItem)
            tryVerify(newestInView, 1000, "resized: the newest row is not in view")
            send(30)
            tryVerify(newestInView, 1000, "the newest row is not in view")
        }
        mouseDrag(rows, rows.width / 2, 10, 0, rows.height / 2)
        tryCompare(rows, "following", false)
        tryVerify(() => !rows.moving)
        const top = rows.contentY
        send(10)
        wait(100)
        compare([rows.contentY, rows.atYEnd], [top, false])

        // The log: the selected line by Ctrl+C; its hex from the menu, offered where it has hex.
        const log = child("logListView")
        const menu = findChild(mainWindow, "logLineMenu")
        const copyHex = findChild(menu.contentItem, "copyLineHexItem")
        const withHex = backend.logMessages.map(line => line.indexOf(" hex=") >= 0)
        for (const index of [withHex.indexOf(true), withHex.indexOf(false)]) {
            log.positionViewAtIndex(index, ListView.Center)
            waitForRendering(log)
            const line = log.itemAtIndex(index)
            mouseClick(line, 10, 5)
            keySequence(StandardKey.Copy)
            compare(clipboardText(), backend.logMessages[index])
            mouseClick(line, 10, 5, Qt.RightButton)
            tryCompare(menu, "opened", true)
            compare(copyHex.visible, withHex[index])
            if (withHex[index]) {
                mouseClick(copyHex)
                compare(clipboardText(), / hex=(\w+)/.exec(backend.logMessages[index])[1])
            }
            menu.close()
            tryCompare(menu, "visible", false)
        }
        mouseClick(child("monitorStopButton"))
    }

    // The visible item named `name` under `item`, searched through the window's overlay too:
    // Qt's own dialogs are popups there.
    function visibleItem(item, name) {
        if (item.objectName === name && item.visible)
            return item
        for (let i = 0; i < item.children.length; ++i) {
            const found = visibleItem(item.children[i], name)
            if (found)
                return found
        }
        return null
    }

    // What the desk sends while recording, saved through the save dialog (after a Cancel
    // that keeps it, by a name without its suffix) and played back: the same datagrams in
    // the same order, as the TX lines' bytes and oscdump say.
    function test_recordThenReplay_data() {
        return [
            { tag: "saved", cancelFirst: false, typed: "recorded.json" },
            { tag: "cancelled, then saved without the suffix", cancelFirst: true, typed: "recorded" },
        ]
    }

    function test_recordThenReplay(data) {
        if (!testTools.isInstalled("oscdump"))
            skip("liblo-tools is not installed")
        verify(testTools.writeFile(testTools.configFolder + "/osc_fixtures.json",
                                   testTools.readFile(examplesDir + "/osc_fixtures.json")))
        backend.oscTargetHost = "127.0.0.1"
        backend.oscTargetPort = testTools.startOscDump()
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
        mouseClick(control("Deck 1", "Play"))
        mouseClick(control("Deck 2", "Sync"))
        const pad = findChild(control("Deck 1", "Jog"), "pad")
        mouseClick(pad, pad.width / 4, pad.height / 4)
        // A fader at 200 of 255 sends a float with no short decimal form.
        backend.sendOscToAddress("/deck1/volume", 200)
        mouseClick(child("bundleCheck"))
        mouseClick(child("intValuesCheck"))
        mouseClick(child("testButton"))
        backend.sendOscTyped("/fx/name", "sbhdTFNI", ["é\"", "blob", 9007199254740993, -0.1])
        const recorded = sentLines().slice(before)
        compare(recorded.length, 7, JSON.stringify(recorded))
        const heardThen = heard(recorded.length)
        compare(scenarios.recordedSteps, recorded.length)

        const dialog = findChild(child("scenarioPanel"), "saveDialog")
        dialog.currentFolder = "file://" + testTools.configFolder
        mouseClick(child("recordButton"))
        verify(!scenarios.recording)
        if (data.cancelFirst) {
            tryVerify(() => visibleItem(mainWindow.contentItem.parent, "fileNameTextField") !== null)
            keyClick(Qt.Key_Escape)
            tryVerify(() => !dialog.visible)
            compare(lastLogLine(), "[INFO] Recording stopped: 7 steps kept until saved or discarded.")
            compare(scenarios.recordedSteps, recorded.length)
            // A write that fails keeps it too.
            const missing = testTools.configFolder + "/missing/recorded"
            verify(!scenarios.saveRecording(missing))
            verify(lastLogLine().startsWith("[CRITICAL] Cannot write scenario file " + missing + ".json: "), lastLogLine())
            verify(lastLogLine().endsWith("; the recording (7 steps) is kept: save it again or discard it."), lastLogLine())
            // Closing asks first; "Cancelar" keeps the window and the recording.
            const question = findChild(mainWindow, "closeQuestion")
            mainWindow.close()
            verify(question.visible)
            mouseClick(visibleItem(mainWindow.contentItem.parent, "closeCancelButton"))
            tryVerify(() => !question.visible)
            verify(mainWindow.visible && scenarios.unsavedRecording)
            mouseClick(child("saveRecordingButton"))
        }
        tryVerify(() => visibleItem(mainWindow.contentItem.parent, "fileNameTextField") !== null)
        // The name field has the focus, its suggested name selected: typing replaces it.
        const nameField = visibleItem(mainWindow.contentItem.parent, "fileNameTextField")
        tryVerify(() => nameField.activeFocus && nameField.selectedText.startsWith("recorded-"), 1000, nameField.text)
        for (const letter of data.typed)
            keyClick(letter)
        keyClick(Qt.Key_Return)
        const file = testTools.configFolder + "/recorded.json"
        compare(lastLogLine(), "[INFO] Recorded 7 steps to " + file)
        verify(!scenarios.unsavedRecording)

        mouseClick(child("bundleCheck"))
        scenarios.play(file)
        tryVerify(() => !scenarios.playing, 5000)
        const replayed = sentLines().slice(before + recorded.length)
        compare(replayed, recorded)
        compare(heard(recorded.length), heardThen)
        testTools.stopOscDump()

        // Closed during a replay, the window logs the replay's end as "Parar" does.
        scenarios.play(file)
        mainWindow.close()
        verify(!scenarios.playing)
        verify(/^\[WARNING\] Scenario ".*" stopped: 0 expectations passed, 0 failed\.$/.test(lastLogLine()), lastLogLine())
    }

    function test_logColoursAndFooter() {
        openWindow()
        compare(["[1] [INFO] x", "[1] [WARNING] x", "[1] [WARNING] said [CRITICAL] later", "[1] [DEBUG] x", "[1] x"]
                .map(mainWindow.logColor), ["#ffffff", "#ff9800", "#f44336", "#9e9e9e", "#ffffff"])
        verify(!child("footer").visible)
        mouseClick(child("hideLogButton"))
        backend.clearLog()
        verify(!child("logPanel").visible && !child("footer").visible)
        backend.sendOscChannel(0, 0, 1)
        verify(child("footer").visible)
        compare(child("footerText").color, "#ff9800")
        mouseClick(child("showLogButton"))
        verify(child("logPanel").visible && !child("footer").visible)
    }

    // The log at its bound: a selected line keeps its selection while older lines go, and
    // loses it when it goes itself or the log is cleared; Ctrl+C copies the selected line.
    function test_logSelectionAtTheBound() {
        openWindow()
        const log = child("logListView")
        const panel = child("logPanel")
        // The view's rows follow the log once the event loop has run.
        const logLines = count => {
            for (let i = 0; i < count; ++i)
                backend.oscTargetPort = backend.oscTargetPort % 60000 + 1
            wait(0)
        }
        // After the view has followed the newest line, as it does after each.
        const select = index => {
            wait(0)
            log.positionViewAtIndex(index, ListView.Center)
            waitForRendering(log)
            mouseClick(log.itemAtIndex(index), 10, 5)
            compare(panel.selectedLine, index)
        }
        backend.clearLog()
        logLines(500)
        compare(log.count, 500)
        select(495)
        const selected = backend.logMessages[495]
        logLines(10)
        compare([log.count, panel.selectedLine], [500, 485])
        keySequence(StandardKey.Copy)
        compare(clipboardText(), selected)
        logLines(485)
        compare(panel.selectedLine, 0)
        logLines(1)
        compare(panel.selectedLine, -1)
        select(300)
        backend.clearLog()
        wait(0)
        compare([log.count, panel.selectedLine], [0, -1])
        backend.oscTargetPort = 8000
    }

    // The check boxes and the log's height come back after a restart.
    function test_layoutSurvivesARestart() {
        openWindow()
        mouseClick(child("statusToggle"))
        mouseClick(child("targetToggle"))
        const split = child("mainSplit")
        const logPanel = child("logPanel")
        mouseDrag(split, split.width / 2, logPanel.mapToItem(split, 0, 0).y - 4, 0, -100)
        waitForRendering(mainWindow.contentItem)
        const grown = logPanel.height
        verify(grown > 250, "log panel height " + grown)
        closeWindow()
        openWindow()
        compare(toggles(), [true, false, false, true])
        tryCompare(child("logPanel"), "height", grown)
    }

    // ui.ini as an earlier run left it, or broken: what it holds, or the defaults.
    function test_layoutFromUiIni_data() {
        const defaults = [false, false, true, true]
        return [
            { tag: "empty", text: "", toggles: defaults },
            { tag: "earlier run", text: "[Layout]\nshowStatus=true\nshowPort=true\nshowTarget=false\nshowLog=false\n",
              toggles: [true, true, false, false] },
            { tag: "garbage", text: "\u0000\u0001not an ini file\n[[[Layout\nshowLog=maybe\nsplitState=@ByteArray(zz)\n",
              toggles: defaults },
        ]
    }

    function test_layoutFromUiIni(data) {
        verify(testTools.writeFile(testTools.configFolder + "/ui.ini", data.text))
        openWindow()
        compare(toggles(), data.toggles)
        wait(50)
        if (data.toggles[3])
            compare(child("logPanel").height, 200)
    }

    // The log enlarged by its handle, then every panel shown: its header, its minimum
    // height and its newest line stay inside the window; Start and Stop share their row.
    function test_everyPanelShown_data() {
        return [
            { tag: "start size", width: 1400, height: 900 },
            { tag: "minimum size", width: 900, height: 560 },
        ]
    }

    function test_everyPanelShown(data) {
        openWindow({ width: data.width, height: data.height })
        compare([mainWindow.minimumWidth, mainWindow.minimumHeight], [900, 560])
        const split = child("mainSplit")
        const logPanel = child("logPanel")
        mouseDrag(split, split.width / 2, logPanel.mapToItem(split, 0, 0).y - 4, 0, -400)
        for (const name of ["statusToggle", "portToggle", "scenarioToggle", "monitorToggle"])
            mouseClick(child(name))
        for (let i = 0; i < 40; ++i)
            backend.sendOscChannel(0, 0, i)
        waitForRendering(mainWindow.contentItem)
        const bottom = logPanel.mapToItem(mainWindow.contentItem, 0, logPanel.height).y
        verify(bottom <= mainWindow.contentItem.height && logPanel.height >= 90, bottom + " " + logPanel.height)
        tryVerify(() => child("logListView").atYEnd, 2000, "the newest line is not in view")
        const toolbar = child("toolbar")
        verify(toolbar.width >= toolbar.Layout.minimumWidth, toolbar.width)
        compare([child("portGroup").width, child("deviceGroup").width], [260, 220])
        for (const button of [child("startButton"), child("stopButton")]) {
            compare(button.width, child("startButton").width)
            verify(button.width >= button.implicitContentWidth + button.leftPadding + button.rightPadding, button.text)
        }
    }

    // Keyboard focus on a fader scrolled out of the desk's view brings it into view.
    function test_focusedControlInView() {
        verify(testTools.writeFile(testTools.configFolder + "/osc_fixtures.json",
                                   testTools.readFile(examplesDir + "/osc_fixtures.json")))
        openWindow({ width: 900, height: 560 })
        mouseClick(child("reloadButton"))
        waitForRendering(mainWindow.contentItem)
        const view = child("fixturesScroll").contentItem
        const sliders = DeskTesting.findAll(view, item => item.objectName === "valueSlider")
        for (const slider of [sliders[sliders.length - 1], sliders[0]]) {
            slider.forceActiveFocus()
            const top = slider.mapToItem(view, 0, 0).y
            verify(top >= 0 && top + slider.height <= view.height, "focused fader at " + top)
        }
    }

    // A desk many screens high: a fader moved at the bottom keeps its place when its strip
    // is scrolled away (and destroyed) and back, and its one send is not sent again, not
    // even by a click on the same spot.
    function test_scrolledAwayAndBack() {
        if (!testTools.isInstalled("oscdump"))
            skip("liblo-tools is not installed")
        const fixtures = []
        for (let i = 0; i < 60; ++i)
            fixtures.push({ name: "F" + i, capabilities: { channels: { "1": { label: "V", oscAddress: "/f" + i, argType: "f" } } } })
        verify(testTools.writeFile(testTools.configFolder + "/osc_fixtures.json", JSON.stringify({ fixtures: fixtures })))
        backend.oscTargetHost = "127.0.0.1"
        backend.oscTargetPort = testTools.startOscDump()
        openWindow()
        mouseClick(child("reloadButton"))
        const view = child("fixturesScroll").contentItem
        verify(view.contentHeight > 3 * mainWindow.height, view.contentHeight)
        const bottom = view.contentHeight - view.height
        view.contentY = bottom
        const slider = () => findChild(control("F59", "V"), "valueSlider")
        waitForRendering(slider())
        mouseClick(slider(), slider().width / 2, slider().height / 4)
        const moved = slider().value
        verify(moved > 150, moved)
        compare(heard(1).length, 1)
        view.contentY = 0
        tryVerify(() => DeskTesting.control(mainWindow.contentItem, "F59", "V") === null)
        view.contentY = bottom
        compare(slider().value, moved)
        waitForRendering(slider())
        mouseClick(slider(), slider().width / 2, slider().height / 4)
        verify(!testTools.waitForOscDump(1, 300), testTools.oscDumpMessages.join(" | "))
        testTools.stopOscDump()
    }

    name: "MainWindow"
    when: windowShown

    TextEdit {
        id: clipboardReader
        visible: false
    }
}
