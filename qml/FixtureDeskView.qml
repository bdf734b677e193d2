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
    // The desk's strips near the view, placed as a Flow of them would be.
    readonly property var strips: Backend.hasDesk() ? desk.strips : null
    // What places the strips, and the part of them in view.
    readonly property var layoutInput: [fixturesFlow.width, stripHeight, headerMeasure.implicitHeight]
    readonly property var viewInput: [fixturesScroll.contentItem.contentY, fixturesScroll.contentItem.height]
    readonly property bool editing: Backend.deskEditing()
    readonly property bool modified: Backend.hasDeskEditor() && deskEditor.modified
    readonly property int selectedStrip: Backend.hasDeskEditor() ? deskEditor.selectedStrip : -1
    readonly property int selectedChannel: Backend.hasDeskEditor() ? deskEditor.selectedChannel : -1
    // For the window's close question (see main.qml's unsavedWorkHolders).
    readonly property string unsavedWork: modified ? "La mesa tiene cambios sin guardar." : ""

    function saveWork(then) {
        if (save() && then)
            then()
    }

    function discardWork() {
        if (Backend.hasDeskEditor())
            deskEditor.discard()
    }

    // Without edits, the desk as loaded is written as it always was.
    function save() {
        if (modified)
            return deskEditor.save()
        if (Backend.hasBackend())
            backend.saveDefaultFixturesConfig()
        return true
    }

    function stripHeightFor(available) {
        return Math.min(460, Math.max(300, available))
    }

    function placeStrips() {
        if (strips)
            strips.setLayout(layoutInput[0], layoutInput[1], layoutInput[2])
    }

    function showView() {
        if (strips)
            strips.setView(viewInput[0], viewInput[1])
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
        // Focus left on a strip's placeholder, as when its strip goes, is no control's.
        if (!inside || item === fixturesFlow || item.parent === fixturesFlow)
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

    Component.onCompleted: {
        placeStrips()
        showView()
    }
    // Once for changes that come together (a resize changes width and height), and never
    // from inside the layout pass that changed them.
    onLayoutInputChanged: Qt.callLater(placeStrips)
    onViewInputChanged: showView()

    Connections {
        target: root.Window.window

        function onActiveFocusItemChanged() {
            root.revealFocusedControl()
        }
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 8
        spacing: 6

        // In a narrow desk the buttons wrap under the title rather than cover it.
        Flow {
            spacing: 6
            Layout.fillWidth: true

            Text {
                objectName: "deskTitle"
                text: "Mesa OSC (fixtures)" + (root.modified ? " *" : "")
                color: Palette.text
                font.pixelSize: 14
                font.bold: true
                height: 48
                rightPadding: 8
                verticalAlignment: Text.AlignVCenter
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
                onClicked: root.save()
            }

            Button {
                objectName: "openButton"
                text: "Cargar desde fichero..."
                onClicked: fileDialog.open()
            }

            Button {
                objectName: "editDeskButton"
                text: "Editar mesa"
                checkable: true
                checked: root.editing
                enabled: Backend.hasDeskEditor()
                onToggled: deskEditor.editing = checked
            }
        }

        FixtureDeskEditor {
            objectName: "deskEditorPanel"
            visible: root.editing
            Layout.fillWidth: true
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

            Item {
                id: fixturesFlow

                objectName: "fixturesFlow"
                width: fixturesScroll.availableWidth
                height: root.strips ? root.strips.contentHeight : 0

                Repeater {
                    model: root.strips

                    // Strips out of view are built between frames; those in view after a
                    // load or a new layout at once.
                    delegate: Loader {
                        id: stripLoader

                        required property real stripX
                        required property real stripY
                        required property real stripWidth
                        required property bool eager
                        required property bool near
                        required property string name
                        required property string manufacturer
                        required property string modelName
                        required property string deviceType
                        required property int universe
                        required property int startChannel
                        required property int channelCount
                        required property var continuousControls
                        required property var buttonControls
                        required property int buttonColumns
                        required property real padWidth
                        required property int index

                        x: stripX
                        y: stripY
                        width: stripWidth
                        height: root.stripHeight
                        active: near
                        asynchronous: !eager
                        sourceComponent: FixtureStrip {
                            name: stripLoader.name
                            manufacturer: stripLoader.manufacturer
                            modelName: stripLoader.modelName
                            deviceType: stripLoader.deviceType
                            universe: stripLoader.universe
                            startChannel: stripLoader.startChannel
                            channelCount: stripLoader.channelCount
                            continuousControls: stripLoader.continuousControls
                            buttonControls: stripLoader.buttonControls
                            buttonColumns: stripLoader.buttonColumns
                            padWidth: stripLoader.padWidth
                            stripIndex: stripLoader.index
                            editing: root.editing
                            selected: root.selectedStrip === stripLoader.index
                            selectedOffset: root.selectedChannel
                        }
                    }
                }
            }
        }
    }

    Shortcut {
        sequences: [StandardKey.Undo]
        enabled: root.editing
        onActivated: deskEditor.undo()
    }

    Shortcut {
        sequences: ["Ctrl+Shift+Z", StandardKey.Redo]
        enabled: root.editing
        onActivated: deskEditor.redo()
    }

    FixtureStrip.Header {
        id: headerMeasure

        visible: false
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
