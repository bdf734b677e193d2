import QtQuick
import QtQuick.Controls
import QtQuick.Dialogs
import QtQuick.Layouts
import "Backend.js" as Backend
import "Palette.js" as Palette
import "Rules.js" as Rules

Rectangle {
    id: root

    readonly property real stripHeight: stripHeightFor(fixturesScroll.availableHeight)
    // Controls by the address they send to, built at the first feedback after a rebuild.
    property var feedbackTargets: null

    function stripHeightFor(available) {
        return Math.min(460, Math.max(300, available))
    }

    // Every announcement rebuilds all strips, even for a list equal to the current one
    // (a Repeater keeps its delegates for an equal model).
    function rebuildStrips() {
        feedbackTargets = null
        stripRepeater.model = []
        stripRepeater.model = Backend.hasBackend() ? backend.fixtures : []
    }

    // What the target answers moves the controls that send to that address; /osc/channel
    // moves the control without an address of that universe and channel.
    function applyFeedback(address, tags, values) {
        if (feedbackTargets === null) {
            const targets = {}
            for (let i = 0; i < stripRepeater.count; ++i) {
                for (const control of stripRepeater.itemAt(i).controls) {
                    const key = control.oscAddress !== "" ? control.oscAddress
                                                          : "#" + control.universe + "/" + control.channel
                    targets[key] = (targets[key] || []).concat([control])
                }
            }
            feedbackTargets = targets
        }
        const key = address === "/osc/channel" && tags === "iii" ? "#" + values[0] + "/" + values[1] : address
        for (const control of feedbackTargets[key] || [])
            control.applyFeedback(tags, values)
    }

    function loadFromUrl(url) {
        const text = String(url)
        if (!Backend.hasBackend() || text === "")
            return
        backend.loadFixturesFromFile(Rules.urlToLocalPath(text))
    }

    // Keeps the control that has keyboard focus in view, so arrow keys never move a
    // control the user cannot see.
    function revealFocusedControl() {
        const item = root.Window.activeFocusItem
        let inside = item
        while (inside && inside !== fixturesFlow)
            inside = inside.parent
        if (!inside)
            return
        const view = fixturesScroll.contentItem
        const top = item.mapToItem(fixturesFlow, 0, 0).y
        const bottom = top + item.height
        if (top < view.contentY || item.height > view.height)
            view.contentY = top
        else if (bottom > view.contentY + view.height)
            view.contentY = bottom - view.height
    }

    color: Palette.deskBackground
    radius: 8
    border.color: Palette.border
    border.width: 1

    Component.onCompleted: rebuildStrips()

    Connections {
        target: root.Window.window

        function onActiveFocusItemChanged() {
            root.revealFocusedControl()
        }
    }

    Connections {
        target: Backend.hasMonitor() ? monitor : null

        function onFeedback(address, tags, values) {
            root.applyFeedback(address, tags, values)
        }
    }

    Connections {
        target: Backend.hasBackend() ? backend : null

        function onFixturesChanged() {
            root.rebuildStrips()
        }
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 8
        spacing: 6

        RowLayout {
            Layout.fillWidth: true

            Text {
                text: "Mesa OSC (fixtures)"
                color: Palette.text
                font.pixelSize: 14
                font.bold: true
                elide: Text.ElideRight
                Layout.fillWidth: true
            }

            Button {
                objectName: "reloadButton"
                text: "Recargar fixtures"
                onClicked: {
                    if (Backend.hasBackend())
                        backend.loadDefaultFixturesConfig()
                }
            }

            Button {
                objectName: "saveButton"
                text: "Guardar fixtures"
                onClicked: {
                    if (Backend.hasBackend())
                        backend.saveDefaultFixturesConfig()
                }
            }

            Button {
                objectName: "openButton"
                text: "Cargar desde fichero..."
                onClicked: fileDialog.open()
            }
        }

        ScrollView {
            id: fixturesScroll

            objectName: "fixturesScroll"
            clip: true
            contentWidth: availableWidth
            contentHeight: fixturesFlow.height
            ScrollBar.horizontal.policy: ScrollBar.AlwaysOff
            Layout.fillWidth: true
            Layout.fillHeight: true

            Flow {
                id: fixturesFlow

                objectName: "fixturesFlow"
                width: fixturesScroll.availableWidth
                spacing: 8

                Repeater {
                    id: stripRepeater

                    model: []

                    delegate: FixtureStrip {
                        required property var modelData

                        fixture: modelData
                        width: implicitWidth
                        height: root.stripHeight
                    }
                }
            }
        }
    }

    FileDialog {
        id: fileDialog

        objectName: "fileDialog"
        title: "Selecciona un fichero de fixtures OSC"
        nameFilters: ["JSON files (*.json)", "All files (*.*)"]
        fileMode: FileDialog.OpenFile
        parentWindow: root.Window.window

        onAccepted: root.loadFromUrl(selectedFile)
    }
}
