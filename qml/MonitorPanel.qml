import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import "Backend.js" as Backend
import "Palette.js" as Palette

// What the target answers, one row per OSC message, with the desk's own sends beside
// them when asked; the selected row's bytes explained below the list.
Panel {
    id: monitorPanel

    property alias followFeedback: followCheck.checked
    property alias showSent: sentCheck.checked
    readonly property int selectedRow: Backend.hasMonitor() ? monitor.selectedRow : -1
    readonly property var inspected: selectedRow >= 0 ? monitor.inspect(selectedRow) : []

    // The selected row's message as a control of the desk.
    function learnSelected() {
        if (selectedRow >= 0 && Backend.hasDeskEditor())
            deskEditor.learnMonitorRow(selectedRow)
    }

    // The selected row's text line, or its datagram in hex, to the clipboard.
    function copySelected(asHex) {
        if (selectedRow >= 0)
            clipboard.copyText(asHex ? monitor.hex(selectedRow) : monitor.line(selectedRow))
    }

    objectName: "monitorPanel"
    color: Palette.stripBackground
    // In a short window the list and the inspector give up their height first; nothing is
    // drawn outside the panel.
    clip: true

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 10
        spacing: 6

        RowLayout {
            spacing: 6
            Layout.fillWidth: true

            Text {
                text: "Monitor OSC"
                font.pixelSize: 14
                font.bold: true
                color: Palette.text
                elide: Text.ElideRight
                Layout.fillWidth: true
            }
            Button {
                objectName: "monitorStartButton"
                text: "Start"
                enabled: Backend.hasMonitor() && !monitor.running
                onClicked: monitor.start()
            }
            Button {
                objectName: "monitorStopButton"
                text: "Stop"
                enabled: Backend.hasMonitor() && monitor.running
                onClicked: monitor.stop()
            }
        }

        Flow {
            spacing: 4
            Layout.fillWidth: true

            Row {
                spacing: 6

                Caption {
                    text: "Puerto"
                    anchors.verticalCenter: parent.verticalCenter
                }
                SpinBox {
                    objectName: "monitorPortField"
                    from: 1
                    to: 65535
                    editable: true
                    value: Backend.hasMonitor() ? monitor.port : from
                    enabled: Backend.hasMonitor() && !monitor.running
                    textFromValue: function(value) { return String(value) }
                    valueFromText: function(text) { return Number(text) }
                    onValueModified: {
                        if (Backend.hasMonitor())
                            monitor.port = value
                    }
                }
            }
            CheckBox {
                id: sentCheck
                objectName: "showSentCheck"
                text: "Mostrar enviados"
                implicitHeight: 36
                checked: false
                ToolTip.visible: hovered
                ToolTip.text: "Mostrar en la lista lo que envía la mesa (TX), junto a las respuestas del destino"
                onCheckedChanged: {
                    if (Backend.hasMonitor())
                        monitor.showSent = checked
                }
            }
            CheckBox {
                id: followCheck
                objectName: "followFeedbackCheck"
                text: "Seguir feedback"
                implicitHeight: 36
                checked: true
                ToolTip.visible: hovered
                ToolTip.text: "Mover los controles de la mesa con lo que responde el destino"
                onCheckedChanged: {
                    if (Backend.hasMonitor())
                        monitor.followFeedback = checked
                }
            }
            CheckBox {
                objectName: "pauseCheck"
                text: "Pausa"
                implicitHeight: 36
                checked: Backend.hasMonitor() && monitor.paused
                onToggled: {
                    if (Backend.hasMonitor())
                        monitor.paused = checked
                }
            }
            CheckBox {
                objectName: "learnCheck"
                text: "Aprender"
                implicitHeight: 36
                enabled: Backend.hasDeskEditor()
                checked: Backend.hasDeskEditor() && deskEditor.learning
                ToolTip.visible: hovered
                ToolTip.text: "Cada dirección que llegue por primera vez se convierte en un control de la mesa"
                onToggled: deskEditor.learning = checked
            }
            Button {
                objectName: "monitorClearButton"
                text: "Clear"
                flat: true
                onClicked: {
                    if (Backend.hasMonitor())
                        monitor.clear()
                }
            }
        }

        TextField {
            objectName: "monitorFilterField"
            placeholderText: "Filtro: patrón de dirección OSC (p. ej. /deck1/*)"
            Layout.fillWidth: true
            onTextChanged: {
                if (Backend.hasMonitor())
                    monitor.filter = text
            }
        }

        Text {
            objectName: "monitorCounts"
            text: Backend.hasMonitor()
                  ? "Recibidos: " + monitor.counts.received + " | Sin decodificar: " + monitor.counts.undecodable
                    + " | Descartados: " + monitor.counts.dropped
                  : ""
            font.pixelSize: 10
            color: Palette.caption
            Layout.fillWidth: true
        }

        ListView {
            id: rowList

            // Follows the newest row unless the user has scrolled up.
            property bool following: true

            function followNewest() {
                if (following)
                    Qt.callLater(rowList.positionViewAtEnd)
            }

            objectName: "monitorRows"
            clip: true
            model: Backend.hasMonitor() ? monitor.rows : null
            // The selection is the monitor's (monitor.selectedRow), which keeps it on its row
            // while the filter changes; the view's own current item is not used.
            currentIndex: -1
            keyNavigationEnabled: false
            boundsBehavior: Flickable.StopAtBounds
            Layout.fillWidth: true
            Layout.fillHeight: true
            // The list and the inspector share the height three to two.
            Layout.preferredHeight: 3
            ScrollBar.vertical: ScrollBar {
                onPressedChanged: {
                    if (!pressed)
                        rowList.following = rowList.atYEnd
                }
            }

            onMovementEnded: following = atYEnd
            onHeightChanged: followNewest()
            Keys.onPressed: function(event) {
                if (event.matches(StandardKey.Copy)) {
                    monitorPanel.copySelected(false)
                    event.accepted = true
                }
            }

            // At its bound the list gains rows and loses as many: its count stays.
            Connections {
                target: rowList.model
                function onRowsInserted() { rowList.followNewest() }
            }

            delegate: Rectangle {
                required property int index
                required property bool sent
                required property string error
                required property string line

                width: ListView.view.width
                height: rowText.height + 4
                color: index === monitorPanel.selectedRow ? Palette.checkedButton
                                                          : (index % 2 === 0 ? Palette.logEvenRow : Palette.logOddRow)

                Text {
                    id: rowText
                    anchors.left: parent.left
                    anchors.right: parent.right
                    anchors.leftMargin: 5
                    anchors.rightMargin: 5
                    anchors.verticalCenter: parent.verticalCenter
                    text: line
                    font.pixelSize: 10
                    font.family: "Consolas, monospace"
                    color: error !== "" ? Palette.stopped : (sent ? Palette.accent : Palette.text)
                    elide: Text.ElideRight
                }

                MouseArea {
                    id: rowArea
                    anchors.fill: parent
                    acceptedButtons: Qt.LeftButton | Qt.RightButton
                    onClicked: function(mouse) {
                        monitor.selectedRow = index
                        rowList.forceActiveFocus()
                        if (mouse.button === Qt.RightButton)
                            rowMenu.popup(rowArea, mouse.x, mouse.y)
                    }
                }
            }

            Menu {
                id: rowMenu
                objectName: "monitorRowMenu"

                MenuItem {
                    objectName: "copyRowItem"
                    text: "Copiar"
                    onTriggered: monitorPanel.copySelected(false)
                }
                MenuItem {
                    objectName: "copyRowHexItem"
                    text: "Copiar hex"
                    onTriggered: monitorPanel.copySelected(true)
                }
                MenuItem {
                    objectName: "learnRowItem"
                    text: "Añadir a la mesa"
                    enabled: Backend.hasDeskEditor()
                    onTriggered: monitorPanel.learnSelected()
                }
            }
        }

        RowLayout {
            Layout.fillWidth: true

            Caption {
                text: "Bytes del mensaje seleccionado"
                elide: Text.ElideRight
                Layout.fillWidth: true
            }
            Button {
                objectName: "learnRowButton"
                text: "Añadir a la mesa"
                flat: true
                enabled: monitorPanel.selectedRow >= 0 && Backend.hasDeskEditor()
                ToolTip.visible: hovered
                ToolTip.text: "Un control para la dirección del mensaje seleccionado, en la tira seleccionada (o en «Aprendido»)"
                onClicked: monitorPanel.learnSelected()
            }
        }

        ListView {
            objectName: "inspector"
            clip: true
            model: monitorPanel.inspected
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.preferredHeight: 2
            ScrollBar.vertical: ScrollBar {}

            delegate: Text {
                required property var modelData

                width: ListView.view.width
                text: String(modelData.offset).padStart(5) + "  " + modelData.bytes + "   " + modelData.meaning
                font.pixelSize: 10
                font.family: "Consolas, monospace"
                color: modelData.failed ? Palette.stopped : Palette.text
                elide: Text.ElideRight
            }
        }
    }

    Clipboard {
        id: clipboard
    }
}
