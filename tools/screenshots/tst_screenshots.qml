import QtQuick
import QtTest
import "../../tests/qml/desk/DeskTesting.js" as DeskTesting

// Not a test: takes the README's screenshots of the real window (see tools/screenshots.sh).
TestCase {
    id: shots

    property var mainWindow: null

    function child(name) {
        return findChild(mainWindow.contentItem, name)
    }

    // Once its strip is built.
    function control(stripName, label) {
        let found = null
        tryVerify(() => (found = DeskTesting.control(mainWindow.contentItem, stripName, label)) !== null)
        return found
    }

    // The whole X screen, cut to the window (Xvfb has no window manager: it sits at 0,0).
    function save(file) {
        wait(200)
        compare(testTools.run("import", ["-window", "root", "-crop",
                                         mainWindow.width + "x" + mainWindow.height + "+0+0",
                                         testTools.configFolder + "/../" + file]), 0)
    }

    function test_screenshots() {
        testTools.writeFile(testTools.configFolder + "/osc_fixtures.json",
                            testTools.readFile(examplesDir + "/osc_fixtures.json"))
        mainWindow = Qt.createComponent("qrc:/main.qml").createObject(null)
        waitForRendering(mainWindow.contentItem)
        mouseClick(child("statusToggle"))
        mouseClick(child("portToggle"))
        mouseClick(child("reloadButton"))
        waitForRendering(mainWindow.contentItem)
        wait(200)

        const volume = findChild(control("Deck 1", "Volume"), "valueSlider")
        mouseDrag(volume, volume.width / 2, volume.height - 6, 0, -volume.height * 0.7, Qt.LeftButton, Qt.NoModifier, 20)
        const hi = findChild(control("Deck 1", "EQ Hi"), "valueSlider")
        mouseDrag(hi, hi.width / 2, hi.height - 6, 0, -hi.height * 0.4, Qt.LeftButton, Qt.NoModifier, 20)
        const crossfader = findChild(control("Mixer + FX", "Crossfader"), "valueSlider")
        mouseDrag(crossfader, crossfader.width / 2, crossfader.height - 6, 0, -crossfader.height * 0.5,
                  Qt.LeftButton, Qt.NoModifier, 20)
        mouseClick(findChild(control("Deck 1", "Play"), "btn"))
        const jog = findChild(control("Deck 1", "Jog"), "pad")
        mouseDrag(jog, jog.width / 2, jog.height / 2, jog.width * 0.2, -jog.height * 0.25, Qt.LeftButton,
                  Qt.NoModifier, 20)
        mouseClick(child("testButton"))
        backend.sendOscChannel(0, 600, 10)
        backend.startEmulation()
        testTools.run("oscsend", ["127.0.0.1", "9000", "/osc/channel", "iii", "0", "1", "200"])
        testTools.run("oscsend", ["127.0.0.1", "9000", "/deck1/play", "f", "1.0"])

        // The monitor beside the desk: the target's answers move Deck 1's pitch, mid and low
        // faders and its jog pad.
        mouseClick(child("monitorToggle"))
        waitForRendering(mainWindow.contentItem)
        wait(200)
        mouseClick(child("showSentCheck"))
        mouseClick(child("monitorStartButton"))
        mouseClick(findChild(control("Deck 1", "Sync"), "btn"))
        for (const answer of [["/deck1/pitch", "d", "0.62"], ["/deck1/eq/mid", "h", "100"],
                              ["/deck1/eq/low", "f", "0.35"], ["/deck1/jog", "ff", "0.3", "0.2"],
                              ["/osc/channel", "iii", "1", "1", "120"]])
            testTools.run("oscsend", ["127.0.0.1", "9002"].concat(answer))
        testTools.run("python3", ["-c", "import socket; socket.socket(socket.AF_INET, socket.SOCK_DGRAM).sendto("
                                  + "bytes.fromhex('2f782f79000000002c697a00'), ('127.0.0.1', 9002))"])
        // A scenario played to the end, its expectations listed.
        mouseClick(child("scenarioToggle"))
        waitForRendering(mainWindow.contentItem)
        scenarios.play(examplesDir + "/scenarios/fails-on-purpose.json")
        tryVerify(() => !scenarios.playing, 5000)
        wait(300)
        const rows = child("monitorRows")
        monitor.selectedRow = rows.count - 2
        wait(300)
        save("window.png")

        // The monitor beside the desk, with the room the other panels leave.
        for (const name of ["statusToggle", "portToggle", "scenarioToggle"])
            mouseClick(child(name))
        waitForRendering(mainWindow.contentItem)
        wait(300)
        save("monitor.png")

        // Learning: what the target announces becomes controls of a strip "Aprendido".
        mouseClick(child("learnCheck"))
        const before = desk.controlCount
        for (const announce of [["/fx2/wet", "f", "0.4"], ["/fx2/steps", "i", "3"], ["/fx2/on", "T"],
                                ["/fx2/preset", "s", "hall"], ["/fx2/tap"], ["/fx2/xy", "ff", "0.2", "0.8"]])
            testTools.run("oscsend", ["127.0.0.1", "9002"].concat(announce))
        tryVerify(() => desk.controlCount === before + 6, 5000)
        mouseClick(child("learnCheck"))
        // The new strip is the last: built once it is near the view.
        const view = child("fixturesScroll").contentItem
        view.contentY = Math.max(0, view.contentHeight - view.height)
        control("Aprendido", "xy")
        monitor.selectedRow = child("monitorRows").count - 1
        wait(300)
        save("learn.png")

        // Edit mode: Deck 1's volume selected, its fields in the editor.
        child("fixturesScroll").contentItem.contentY = 0
        mouseClick(child("editDeskButton"))
        waitForRendering(mainWindow.contentItem)
        mouseClick(findChild(control("Deck 1", "Volume"), "valueSlider"))
        waitForRendering(mainWindow.contentItem)
        wait(300)
        save("edit-mode.png")
        mainWindow.width = mainWindow.minimumWidth
        mainWindow.height = mainWindow.minimumHeight
        wait(300)
        save("edit-minimum.png")
        mainWindow.width = 1400
        mainWindow.height = 900
        keyClick(Qt.Key_Escape)
        mouseClick(child("editDeskButton"))
        deskEditor.discard()

        for (const name of ["statusToggle", "portToggle", "scenarioToggle"])
            mouseClick(child(name))
        waitForRendering(mainWindow.contentItem)

        mainWindow.width = mainWindow.minimumWidth
        mainWindow.height = mainWindow.minimumHeight
        wait(300)
        save("window-minimum.png")
        backend.stopEmulation()
        monitor.stop()
        mainWindow.close()
    }

    name: "Screenshots"
    when: windowShown
}
