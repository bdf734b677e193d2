import QtCore
import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts
import Qt.labs.settings

ApplicationWindow {
    id: window

    readonly property string lastLogMessage: backend && backend.logMessages.length > 0
                                             ? backend.logMessages[backend.logMessages.length - 1] : ""

    function logColor(message) {
        if (message.indexOf("[CRITICAL]") >= 0 || message.indexOf("[FATAL]") >= 0)
            return "#f44336"
        if (message.indexOf("[WARNING]") >= 0)
            return "#ff9800"
        if (message.indexOf("[DEBUG]") >= 0)
            return "#9e9e9e"
        return "#ffffff"
    }

    // Settings wants a plain local path, not the URL that StandardPaths gives
    // ("file:///C:/..." is "C:/..." on Windows).
    function localPath(url) {
        return decodeURIComponent(String(url).replace(/^file:\/\//, "").replace(/^\/([A-Za-z]:)/, "$1"))
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
        uiSettings.splitState = mainSplit.saveState()
    }

    Settings {
        id: uiSettings

        property alias showStatus: statusToggle.checked
        property alias showPort: portToggle.checked
        property alias showTarget: targetToggle.checked
        property alias showLog: logToggle.checked
        property var splitState

        fileName: window.localPath(StandardPaths.writableLocation(StandardPaths.AppConfigLocation)) + "/ui.ini"
        category: "Layout"
    }

    component Panel: Rectangle {
        color: "#2d2d2d"
        radius: 8
        border.color: "#404040"
        border.width: 1
    }

    component Caption: Text {
        font.pixelSize: 11
        color: "#b0b0b0"
    }

    component LogButton: Button {
        id: logButton

        property string toolTipText

        flat: true
        ToolTip.visible: hovered && toolTipText !== ""
        ToolTip.text: toolTipText
        background: Rectangle {
            radius: 4
            color: logButton.pressed ? "#3d3d3d" : "#404040"
        }
        contentItem: Text {
            text: logButton.text
            color: "#ffffff"
            font.pixelSize: 11
            horizontalAlignment: Text.AlignHCenter
            verticalAlignment: Text.AlignVCenter
        }
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 10
        spacing: 8

        Panel {
            id: toolbar
            objectName: "toolbar"

            Layout.fillWidth: true
            Layout.preferredHeight: toolbarRow.implicitHeight + 8
            Layout.minimumWidth: toolbarRow.implicitWidth + 20

            RowLayout {
                id: toolbarRow

                anchors.fill: parent
                anchors.leftMargin: 12
                anchors.rightMargin: 8
                spacing: 4

                Label {
                    text: "Configuración OSC"
                    font.pixelSize: 13
                    font.bold: true
                    color: Material.foreground
                    elide: Text.ElideRight
                    Layout.fillWidth: true
                }
                CheckBox {
                    id: statusToggle
                    objectName: "statusToggle"
                    text: "Estado"
                    checked: false
                }
                CheckBox {
                    id: portToggle
                    objectName: "portToggle"
                    text: "Puerto / Device"
                    checked: false
                }
                CheckBox {
                    id: targetToggle
                    objectName: "targetToggle"
                    text: "Destino OSC"
                    checked: true
                }
                CheckBox {
                    id: logToggle
                    objectName: "logToggle"
                    text: "Log"
                    checked: true
                    ToolTip.visible: hovered
                    ToolTip.text: "Mostrar u ocultar el log (oculto, la mesa ocupa todo el alto)"
                }
            }
        }

        Panel {
            id: statusPanel
            objectName: "statusPanel"

            visible: statusToggle.checked
            Layout.fillWidth: true
            Layout.preferredHeight: Math.max(56, statusRow.implicitHeight + 20)

            RowLayout {
                id: statusRow

                anchors.fill: parent
                anchors.margins: 10
                spacing: 10

                Rectangle {
                    objectName: "runningIndicator"
                    Layout.preferredWidth: 16
                    Layout.preferredHeight: 16
                    radius: 8
                    color: backend && backend.isRunning ? "#4caf50" : "#f44336"
                    border.color: "#ffffff"
                    border.width: 2
                }
                ColumnLayout {
                    spacing: 2
                    Layout.fillWidth: true

                    Text {
                        objectName: "statusText"
                        text: backend && backend.statusMessage !== "" ? backend.statusMessage
                                                                      : "Ready (waiting for OSC)"
                        font.pixelSize: 14
                        font.bold: true
                        color: "#ffffff"
                        Layout.fillWidth: true
                    }
                    Text {
                        objectName: "statusDetailText"
                        text: backend && backend.isRunning
                              ? "Packets: " + (backend.packetCount || 0) + " | Port: " + (backend.baudRate || 0)
                              : "Select OSC UDP port and device to start"
                        font.pixelSize: 10
                        color: "#b0b0b0"
                        Layout.fillWidth: true
                    }
                }
            }
        }

        Panel {
            id: portPanel
            objectName: "portPanel"

            visible: portToggle.checked
            Layout.fillWidth: true
            Layout.preferredHeight: Math.max(72, portRow.implicitHeight + 20)

            RowLayout {
                id: portRow

                anchors.fill: parent
                anchors.margins: 10
                spacing: 12

                // A layout nested in a layout fills the width unless told otherwise: the two
                // groups keep their preferred widths and Start and Stop share the rest.
                ColumnLayout {
                    objectName: "portGroup"
                    spacing: 4
                    Layout.preferredWidth: 260
                    Layout.fillWidth: false

                    Caption { text: "OSC UDP Port" }
                    RowLayout {
                        spacing: 6
                        Layout.fillWidth: true

                        ComboBox {
                            id: portComboBox
                            objectName: "portComboBox"
                            model: backend ? backend.availablePorts : []
                            currentIndex: backend ? backend.selectedPortIndex : -1
                            enabled: !!backend && !backend.isRunning
                            Layout.fillWidth: true
                            onCurrentIndexChanged: {
                                if (backend)
                                    backend.selectedPortIndex = currentIndex
                            }
                        }
                        Button {
                            objectName: "refreshButton"
                            text: "R"
                            enabled: !!backend && !backend.isRunning
                            ToolTip.visible: hovered
                            ToolTip.text: "Refrescar puertos"
                            onClicked: backend.refreshPorts()
                        }
                    }
                }
                ColumnLayout {
                    objectName: "deviceGroup"
                    spacing: 4
                    Layout.preferredWidth: 220
                    Layout.fillWidth: false

                    Caption { text: "Logical Device" }
                    ComboBox {
                        id: deviceComboBox
                        objectName: "deviceComboBox"
                        model: backend ? backend.emulatedDevices : []
                        currentIndex: backend ? backend.selectedDeviceIndex : 0
                        enabled: !!backend && !backend.isRunning
                        Layout.fillWidth: true
                        onCurrentIndexChanged: {
                            if (backend)
                                backend.selectedDeviceIndex = currentIndex
                        }
                    }
                }
                RowLayout {
                    spacing: 6
                    Layout.fillWidth: true

                    Button {
                        objectName: "startButton"
                        text: "Start"
                        enabled: !!backend && !backend.isRunning && portComboBox.currentIndex >= 0
                        // Equal shares of the row, whatever their texts.
                        Layout.preferredWidth: 1
                        Layout.fillWidth: true
                        onClicked: backend.startEmulation()
                    }
                    Button {
                        objectName: "stopButton"
                        text: "Stop"
                        enabled: !!backend && backend.isRunning
                        Layout.preferredWidth: 1
                        Layout.fillWidth: true
                        onClicked: backend.stopEmulation()
                    }
                }
            }
        }

        Panel {
            id: targetPanel
            objectName: "targetPanel"

            visible: targetToggle.checked
            Layout.fillWidth: true
            Layout.preferredHeight: Math.max(64, targetRow.implicitHeight + 20)

            RowLayout {
                id: targetRow

                anchors.fill: parent
                anchors.margins: 10
                spacing: 8

                Caption { text: "OSC Target:" }
                TextField {
                    id: oscHostField
                    objectName: "oscHostField"
                    placeholderText: "Host"
                    text: backend ? backend.oscTargetHost : "127.0.0.1"
                    Layout.preferredWidth: 140
                    onEditingFinished: {
                        if (backend)
                            backend.oscTargetHost = text
                    }
                }
                SpinBox {
                    id: oscPortField
                    objectName: "oscPortField"
                    from: 1
                    to: 65535
                    editable: false
                    value: backend ? backend.oscTargetPort : 8000
                    textFromValue: function(value) { return String(value) }
                    onValueChanged: {
                        if (backend)
                            backend.oscTargetPort = value
                    }
                }
                CheckBox {
                    id: intValuesCheck
                    objectName: "intValuesCheck"
                    text: "Int 0-127"
                    checked: backend ? backend.sendIntValues : false
                    ToolTip.visible: hovered
                    ToolTip.text: "Enviar ints 0-127 (,i) en vez de floats 0.0-1.0 (,f). Lumenfold espera floats en OSC salvo que el mapeo defina inMin/inMax."
                    onToggled: {
                        if (backend)
                            backend.sendIntValues = checked
                    }
                }
                CheckBox {
                    id: bundleCheck
                    objectName: "bundleCheck"
                    text: "Bundle"
                    checked: backend ? backend.sendAsBundle : false
                    ToolTip.visible: hovered
                    ToolTip.text: "Enviar cada mensaje dentro de un #bundle (como TouchOSC con bundling activado)"
                    onToggled: {
                        if (backend)
                            backend.sendAsBundle = checked
                    }
                }
                Button {
                    id: testButton
                    objectName: "testButton"
                    text: "Test"
                    ToolTip.visible: hovered
                    ToolTip.text: "Pulsa y suelta Play D1 (/deck1/play) en el destino"
                    onClicked: {
                        if (backend) {
                            backend.sendOscToAddress("/deck1/play", 255)
                            backend.sendOscToAddress("/deck1/play", 0)
                        }
                    }
                }
                Item { Layout.fillWidth: true }
            }
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
                color: SplitHandle.pressed ? "#4fc3f7" : (SplitHandle.hovered ? "#5a5a5a" : "transparent")

                Rectangle {
                    anchors.centerIn: parent
                    width: 48
                    height: 3
                    radius: 2
                    color: "#707070"
                }
            }

            // When the window cannot hold both at their minimum heights, the desk (which
            // scrolls) gives up height first, so the log's header and newest line stay inside.
            FixtureDeskView {
                id: deskView
                SplitView.fillHeight: true
                SplitView.minimumHeight: logPanel.visible
                                         ? Math.max(0, Math.min(220, mainSplit.height - mainSplit.handleHeight
                                                                     - logPanel.SplitView.minimumHeight))
                                         : 0
            }

            Rectangle {
                id: logPanel
                objectName: "logPanel"

                visible: logToggle.checked
                color: "#1e1e1e"
                radius: 8
                border.color: "#404040"
                border.width: 1
                SplitView.preferredHeight: 200
                SplitView.minimumHeight: 90
                SplitView.maximumHeight: Math.max(SplitView.minimumHeight, mainSplit.height
                                                  - mainSplit.handleHeight - deskView.SplitView.minimumHeight)

                ColumnLayout {
                    anchors.fill: parent
                    anchors.margins: 10
                    spacing: 5

                    RowLayout {
                        Layout.fillWidth: true

                        Text {
                            text: "Log Messages"
                            font.pixelSize: 14
                            font.bold: true
                            color: "#ffffff"
                            Layout.fillWidth: true
                        }
                        LogButton {
                            objectName: "hideLogButton"
                            text: "Ocultar"
                            toolTipText: "Ocultar el log y dar todo el alto a la mesa"
                            onClicked: logToggle.checked = false
                        }
                        LogButton {
                            objectName: "clearLogButton"
                            text: "Clear"
                            onClicked: {
                                if (backend)
                                    backend.clearLog()
                            }
                        }
                    }

                    ScrollView {
                        clip: true
                        Layout.fillWidth: true
                        Layout.fillHeight: true

                        ListView {
                            id: logListView
                            objectName: "logListView"

                            model: backend ? backend.logMessages : []
                            onCountChanged: Qt.callLater(logListView.positionViewAtEnd)
                            onHeightChanged: Qt.callLater(logListView.positionViewAtEnd)

                            delegate: Rectangle {
                                required property int index
                                required property string modelData

                                width: ListView.view.width
                                height: lineText.height + 4
                                color: index % 2 === 0 ? "#1e1e1e" : "#252525"

                                Text {
                                    id: lineText
                                    anchors.left: parent.left
                                    anchors.right: parent.right
                                    anchors.leftMargin: 5
                                    anchors.rightMargin: 5
                                    anchors.verticalCenter: parent.verticalCenter
                                    text: modelData
                                    font.pixelSize: 10
                                    font.family: "Consolas, monospace"
                                    color: window.logColor(modelData)
                                    wrapMode: Text.Wrap
                                }
                            }
                        }
                    }
                }
            }
        }

        Rectangle {
            id: footer
            objectName: "footer"

            visible: !logToggle.checked && window.lastLogMessage !== ""
            color: "#1e1e1e"
            radius: 6
            border.color: "#404040"
            border.width: 1
            Layout.fillWidth: true
            Layout.preferredHeight: 30

            RowLayout {
                anchors.fill: parent
                anchors.leftMargin: 10
                anchors.rightMargin: 6
                spacing: 8

                Text {
                    objectName: "footerText"
                    text: window.lastLogMessage
                    font.pixelSize: 10
                    font.family: "Consolas, monospace"
                    color: window.logColor(window.lastLogMessage)
                    elide: Text.ElideRight
                    Layout.fillWidth: true
                }
                ToolButton {
                    objectName: "showLogButton"
                    text: "Mostrar log"
                    font.pixelSize: 11
                    onClicked: logToggle.checked = true
                }
            }
        }
    }
}
