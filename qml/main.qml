import QtCore
import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts
import Qt.labs.settings
import "Backend.js" as Backend
import "Palette.js" as Palette
import "Rules.js" as Rules

// The window's outline: toolbar, three optional panels, the desk over the log, and a
// footer that stands in for the hidden log.
ApplicationWindow {
    id: window

    readonly property string lastLogMessage: Backend.hasLogLines() ? logLines.latest : ""
    // The parts that hold work closing would lose. Each offers `unsavedWork` (what would be
    // lost, as a sentence, or ""), saveWork(then), which calls then() once the work is
    // saved, and discardWork().
    readonly property var unsavedWorkHolders: [scenarioPanel, deskView]

    function logColor(message) {
        return Palette.logColor(message)
    }

    visible: true
    width: 1400
    height: 900
    minimumWidth: 900
    minimumHeight: 560
    title: "Lumenfold OSC Emulator"
    color: Material.background
    Material.theme: Material.Dark
    Material.accent: Material.LightBlue
    Material.primary: Material.BlueGrey

    Component.onCompleted: {
        if (uiSettings.splitState)
            Qt.callLater(function() { mainSplit.restoreState(uiSettings.splitState) })
    }
    onClosing: function(close) {
        const holder = unsavedWorkHolders.find(part => part.unsavedWork !== "")
        if (holder !== undefined) {
            close.accepted = false
            closeQuestion.ask(holder)
            return
        }
        // A replay cut short says so in the log, as "Parar" does.
        if (Backend.hasScenarios())
            scenarios.stopPlaying()
        uiSettings.splitState = mainSplit.saveState()
    }

    Settings {
        id: uiSettings

        property alias showStatus: toolbar.showStatus
        property alias showPort: toolbar.showPort
        property alias showTarget: toolbar.showTarget
        property alias showLog: toolbar.showLog
        property alias showMonitor: toolbar.showMonitor
        property alias showScenarios: toolbar.showScenarios
        property alias followFeedback: monitorPanel.followFeedback
        property var splitState

        // Settings wants a plain local path, not the URL that StandardPaths gives.
        fileName: Rules.urlToLocalPath(StandardPaths.writableLocation(StandardPaths.AppConfigLocation)) + "/ui.ini"
        category: "Layout"
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 10
        spacing: 8

        MainToolbar {
            id: toolbar
        }
        StatusPanel {
            visible: toolbar.showStatus
        }
        PortPanel {
            visible: toolbar.showPort
        }
        TargetPanel {
            visible: toolbar.showTarget
        }
        ScenarioPanel {
            id: scenarioPanel
            visible: toolbar.showScenarios
        }

        SplitView {
            id: mainSplit
            objectName: "mainSplit"

            readonly property int handleHeight: 8

            orientation: Qt.Vertical
            Layout.fillWidth: true
            Layout.fillHeight: true
            handle: Rectangle {
                implicitHeight: mainSplit.handleHeight
                color: SplitHandle.pressed ? Palette.accent
                                           : (SplitHandle.hovered ? Palette.splitHandleHovered : "transparent")

                Rectangle {
                    anchors.centerIn: parent
                    width: 48
                    height: 3
                    radius: 2
                    color: Palette.splitGrip
                }
            }

            // When the window cannot hold both at their minimum heights, the desk (which
            // scrolls) gives up height first, so the log's header and newest line stay inside.
            SplitView {
                id: deskSplit
                objectName: "deskSplit"

                orientation: Qt.Horizontal
                clip: true
                SplitView.fillHeight: true
                SplitView.minimumHeight: logPanel.visible
                                         ? Math.max(0, Math.min(220, mainSplit.height - mainSplit.handleHeight
                                                                     - logPanel.SplitView.minimumHeight))
                                         : 0
                handle: Rectangle {
                    implicitWidth: mainSplit.handleHeight
                    color: SplitHandle.pressed ? Palette.accent
                                               : (SplitHandle.hovered ? Palette.splitHandleHovered : "transparent")
                }

                // At the window's minimum width the desk keeps room for its three buttons.
                FixtureDeskView {
                    id: deskView
                    SplitView.fillWidth: true
                    SplitView.minimumWidth: 560
                }
                MonitorPanel {
                    id: monitorPanel
                    visible: toolbar.showMonitor
                    SplitView.preferredWidth: 500
                    SplitView.minimumWidth: 300
                    SplitView.maximumWidth: Math.max(SplitView.minimumWidth, deskSplit.width - mainSplit.handleHeight
                                                     - deskView.SplitView.minimumWidth)
                }
            }

            LogView {
                id: logPanel
                visible: toolbar.showLog
                SplitView.preferredHeight: 200
                SplitView.minimumHeight: 90
                SplitView.maximumHeight: Math.max(SplitView.minimumHeight, mainSplit.height
                                                  - mainSplit.handleHeight - deskSplit.SplitView.minimumHeight)
                onHideRequested: toolbar.showLog = false
            }
        }

        LogFooter {
            visible: !toolbar.showLog && window.lastLogMessage !== ""
            // Hidden, it lays out no line: the log view shows them.
            line: visible ? window.lastLogMessage : ""
            onShowRequested: toolbar.showLog = true
        }
    }

    // Asked when closing would lose work. "Guardar" (once written) and "Descartar" close again,
    // so the next holder with unsaved work is asked in turn; "Cancelar" keeps the window.
    Dialog {
        id: closeQuestion
        objectName: "closeQuestion"

        property Item holder: null

        function ask(part) {
            holder = part
            question.text = part.unsavedWork
            open()
        }

        title: "¿Cerrar sin guardar?"
        modal: true
        width: 420
        anchors.centerIn: Overlay.overlay

        onAccepted: holder.saveWork(function() { window.close() })
        onDiscarded: {
            holder.discardWork()
            window.close()
        }

        Label {
            id: question
            width: parent.width
            wrapMode: Text.Wrap
        }

        footer: DialogButtonBox {
            Button {
                objectName: "closeSaveButton"
                text: "Guardar"
                flat: true
                DialogButtonBox.buttonRole: DialogButtonBox.AcceptRole
            }
            Button {
                objectName: "closeDiscardButton"
                text: "Descartar"
                flat: true
                DialogButtonBox.buttonRole: DialogButtonBox.DestructiveRole
            }
            Button {
                objectName: "closeCancelButton"
                text: "Cancelar"
                flat: true
                DialogButtonBox.buttonRole: DialogButtonBox.RejectRole
            }
        }
    }
}
