import QtQuick
import QtQuick.Controls
import QtQuick.Dialogs
import QtQuick.Layouts
import "Backend.js" as Backend
import "Palette.js" as Palette
import "Rules.js" as Rules

// Records what the desk sends as a scenario, and plays scenarios back against the target,
// with each expectation's result.
Panel {
    id: scenarioPanel

    readonly property bool ready: Backend.hasScenarios()
    readonly property bool busy: ready && (scenarios.recording || scenarios.playing)
    readonly property bool unsaved: ready && scenarios.unsavedRecording
    // What closing the window would lose, for its question, or "" (see main.qml).
    readonly property string unsavedWork: ready && (unsaved || (scenarios.recording && scenarios.recordedSteps > 0))
                                          ? "La grabación tiene " + stepsText(scenarios.recordedSteps) + " sin guardar."
                                          : ""
    // Called once, when the recording being saved is written.
    property var afterSave: null
    // Qt 6.4's own save dialog saves only from its button: Enter in its name field is hooked
    // once, and the field gets the focus at each opening.
    property Item hookedNameField: null

    function seconds(ms) {
        return (ms / 1000).toFixed(1) + " s"
    }

    function stepsText(count) {
        return count + (count === 1 ? " paso" : " pasos")
    }

    function saveWork(then) {
        scenarios.stopRecording()
        if (!scenarios.unsavedRecording)
            return
        afterSave = then
        // A new name each time, so that Enter never writes over the last recording.
        saveDialog.currentFile = saveDialog.currentFolder + "/recorded-"
                + Qt.formatDateTime(new Date(), "yyyyMMdd-hhmmss") + ".json"
        saveDialog.open()
    }

    function discardWork() {
        scenarios.discardRecording()
    }

    // The visible item named `name` under `item`.
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

    function saveOnEnter() {
        const field = visibleItem(Overlay.overlay, "fileNameTextField")
        if (field === null)
            return
        field.forceActiveFocus()
        field.selectAll()
        if (field === hookedNameField)
            return
        hookedNameField = field
        field.accepted.connect(function() {
            if (saveDialog.visible && field.text.trim() !== "")
                saveDialog.accept()
        })
    }

    function statusText() {
        if (!ready)
            return ""
        if (scenarios.recording)
            return "Grabando: " + stepsText(scenarios.recordedSteps) + ", " + seconds(scenarios.elapsedMs)
        if (scenarios.unsavedRecording && !scenarios.playing)
            return "Grabación sin guardar: " + stepsText(scenarios.recordedSteps)
        if (scenarios.playing)
            return "Reproduciendo \u00ab" + scenarios.scenarioName + "\u00bb: paso "
                    + Math.min(scenarios.stepIndex + 1, scenarios.stepCount) + " de " + scenarios.stepCount
                    + ", " + seconds(scenarios.elapsedMs)
        const results = scenarios.results
        if (results.length === 0)
            return "Graba lo que envía la mesa, o reproduce un escenario y comprueba qué hace el destino"
        const failed = results.filter(result => !result.passed).length
        return "\u00ab" + scenarios.scenarioName + "\u00bb: " + (results.length - failed) + " correctas, "
                + failed + " fallidas"
    }

    objectName: "scenarioPanel"
    Layout.fillWidth: true
    Layout.preferredHeight: scenarioColumn.implicitHeight + 20

    ColumnLayout {
        id: scenarioColumn

        anchors.fill: parent
        anchors.margins: 10
        spacing: 6

        RowLayout {
            spacing: 8
            Layout.fillWidth: true

            Caption { text: "Escenarios:" }
            Button {
                objectName: "recordButton"
                visible: !scenarioPanel.unsaved
                text: scenarioPanel.ready && scenarios.recording ? "Parar grabación" : "Grabar"
                enabled: scenarioPanel.ready && !scenarios.playing
                onClicked: {
                    if (scenarios.recording)
                        scenarioPanel.saveWork(null)
                    else
                        scenarios.startRecording()
                }
            }
            Button {
                objectName: "saveRecordingButton"
                visible: scenarioPanel.unsaved
                text: "Guardar grabación..."
                onClicked: scenarioPanel.saveWork(null)
            }
            Button {
                objectName: "discardRecordingButton"
                visible: scenarioPanel.unsaved
                text: "Descartar"
                onClicked: scenarioPanel.discardWork()
            }
            Button {
                objectName: "playButton"
                text: "Reproducir..."
                enabled: scenarioPanel.ready && !scenarioPanel.busy
                onClicked: openDialog.open()
            }
            Button {
                objectName: "stopScenarioButton"
                text: "Parar"
                enabled: scenarioPanel.ready && scenarios.playing
                onClicked: scenarios.stopPlaying()
            }
            ProgressBar {
                objectName: "scenarioProgress"
                visible: scenarioPanel.ready && scenarios.playing
                from: 0
                to: scenarioPanel.ready ? Math.max(1, scenarios.stepCount) : 1
                value: scenarioPanel.ready ? scenarios.stepIndex : 0
                Layout.preferredWidth: 160
            }
            Text {
                objectName: "scenarioStatus"
                text: scenarioPanel.statusText()
                color: scenarioPanel.ready && (scenarios.recording || scenarioPanel.unsaved) ? Palette.stopped : Palette.text
                font.pixelSize: 12
                elide: Text.ElideRight
                Layout.fillWidth: true
            }
        }

        ListView {
            objectName: "scenarioResults"
            visible: count > 0
            clip: true
            model: scenarioPanel.ready ? scenarios.results : []
            implicitHeight: Math.min(count, 4) * 16
            Layout.fillWidth: true
            Layout.preferredHeight: implicitHeight
            ScrollBar.vertical: ScrollBar {}
            onCountChanged: Qt.callLater(positionViewAtEnd)

            delegate: Text {
                required property var modelData

                width: ListView.view.width
                height: 16
                text: (modelData.passed ? "\u2714 " : "\u2718 ") + "paso " + modelData.step + ": "
                      + modelData.description + " \u2014 " + modelData.detail
                color: modelData.passed ? Palette.running : Palette.stopped
                font.pixelSize: 11
                font.family: "Consolas, monospace"
                elide: Text.ElideRight
            }
        }
    }

    // Cancel keeps the recording, as a write that fails does: the panel offers it again.
    FileDialog {
        id: saveDialog
        objectName: "saveDialog"

        title: "Guardar el escenario grabado"
        fileMode: FileDialog.SaveFile
        acceptLabel: "Guardar"
        rejectLabel: "Cancelar"
        defaultSuffix: "json"
        nameFilters: ["Escenarios JSON (*.json)", "All files (*.*)"]
        parentWindow: scenarioPanel.Window.window

        onVisibleChanged: {
            if (visible)
                Qt.callLater(scenarioPanel.saveOnEnter)
        }
        onAccepted: {
            const then = scenarioPanel.afterSave
            scenarioPanel.afterSave = null
            if (scenarios.saveRecording(Rules.urlToLocalPath(selectedFile)) && then)
                then()
        }
        onRejected: scenarioPanel.afterSave = null
    }

    FileDialog {
        id: openDialog

        title: "Selecciona un escenario"
        fileMode: FileDialog.OpenFile
        nameFilters: ["Escenarios JSON (*.json)", "All files (*.*)"]
        parentWindow: scenarioPanel.Window.window

        onAccepted: scenarios.play(Rules.urlToLocalPath(selectedFile))
    }
}
