import QtQuick
import QtQuick.Controls
import QtQuick.Dialogs
import QtQuick.Layouts

Rectangle {
    id: root

    readonly property real stripHeight: stripHeightFor(fixturesScroll.availableHeight)

    function hasBackend() {
        return typeof backend !== "undefined" && backend !== null
    }

    function stripHeightFor(available) {
        return Math.min(460, Math.max(300, available))
    }

    // The local path of a file URL, as QUrl::toLocalFile gives it (a drive letter after
    // the slash is taken as a Windows path); any other text is returned unchanged.
    function urlToLocalPath(url) {
        const text = String(url)
        const parts = /^file:(\/\/([^\/?#]*))?([^?#]*)/i.exec(text)
        if (parts === null)
            return text
        const host = parts[2] !== undefined ? parts[2].toLowerCase() : ""
        // As in QUrl's tolerant parsing, a stray "%" means the path is not encoded at all.
        let path = parts[3]
        if (!/%(?![0-9A-Fa-f]{2})/.test(path)) {
            path = path.replace(/(%[0-9A-Fa-f]{2})+/g, function(run) {
                try {
                    return decodeURIComponent(run)
                } catch (error) {
                    return run
                }
            })
        }
        if (host !== "")
            return "//" + host + path
        if (/^\/[A-Za-z]:/.test(path))
            return path.substring(1)
        return path
    }

    // Every announcement rebuilds all strips, even for a list equal to the current one
    // (a Repeater keeps its delegates for an equal model).
    function rebuildStrips() {
        stripRepeater.model = []
        stripRepeater.model = hasBackend() ? backend.fixtures : []
    }

    function loadFromUrl(url) {
        const text = String(url)
        if (!hasBackend() || text === "")
            return
        backend.loadFixturesFromFile(urlToLocalPath(text))
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

    color: "#121212"
    radius: 8
    border.color: "#404040"
    border.width: 1

    Component.onCompleted: rebuildStrips()

    Connections {
        target: root.Window.window

        function onActiveFocusItemChanged() {
            root.revealFocusedControl()
        }
    }

    Connections {
        target: root.hasBackend() ? backend : null

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
                color: "white"
                font.pixelSize: 14
                font.bold: true
                Layout.fillWidth: true
            }

            Button {
                objectName: "reloadButton"
                text: "Recargar fixtures"
                onClicked: {
                    if (root.hasBackend())
                        backend.loadDefaultFixturesConfig()
                }
            }

            Button {
                objectName: "saveButton"
                text: "Guardar fixtures"
                onClicked: {
                    if (root.hasBackend())
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
