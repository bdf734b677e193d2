import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import "Backend.js" as Backend
import "Palette.js" as Palette

// Whether the device listens, on which port, and how many packets it received.
Panel {
    id: statusPanel
    objectName: "statusPanel"

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
            color: Backend.hasBackend() && backend.isRunning ? Palette.running : Palette.stopped
            border.color: Palette.text
            border.width: 2
        }
        ColumnLayout {
            spacing: 2
            Layout.fillWidth: true

            Text {
                objectName: "statusText"
                text: Backend.hasBackend() && backend.statusMessage !== "" ? backend.statusMessage
                                                              : "Ready (waiting for OSC)"
                font.pixelSize: 14
                font.bold: true
                color: Palette.text
                Layout.fillWidth: true
            }
            Text {
                objectName: "statusDetailText"
                text: Backend.hasBackend() && backend.isRunning
                      ? "Packets: " + (backend.packetCount || 0) + " | Port: " + (backend.baudRate || 0)
                      : "Select OSC UDP port and device to start"
                font.pixelSize: 10
                color: Palette.caption
                Layout.fillWidth: true
            }
        }
    }
}
