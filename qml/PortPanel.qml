import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import "Backend.js" as Backend

// The receiving port and logical device of the emulated device, with Start and Stop.
Panel {
    id: portPanel
    objectName: "portPanel"

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
                    model: Backend.hasBackend() ? backend.availablePorts : []
                    currentIndex: Backend.hasBackend() ? backend.selectedPortIndex : -1
                    enabled: Backend.hasBackend() && !backend.isRunning
                    Layout.fillWidth: true
                    onCurrentIndexChanged: {
                        if (Backend.hasBackend())
                            backend.selectedPortIndex = currentIndex
                    }
                }
                Button {
                    objectName: "refreshButton"
                    text: "R"
                    enabled: Backend.hasBackend() && !backend.isRunning
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
                model: Backend.hasBackend() ? backend.emulatedDevices : []
                currentIndex: Backend.hasBackend() ? backend.selectedDeviceIndex : 0
                enabled: Backend.hasBackend() && !backend.isRunning
                Layout.fillWidth: true
                onCurrentIndexChanged: {
                    if (Backend.hasBackend())
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
                enabled: Backend.hasBackend() && !backend.isRunning && portComboBox.currentIndex >= 0
                // Equal shares of the row, whatever their texts.
                Layout.preferredWidth: 1
                Layout.fillWidth: true
                onClicked: backend.startEmulation()
            }
            Button {
                objectName: "stopButton"
                text: "Stop"
                enabled: Backend.hasBackend() && backend.isRunning
                Layout.preferredWidth: 1
                Layout.fillWidth: true
                onClicked: backend.stopEmulation()
            }
        }
    }
}
