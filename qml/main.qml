import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material

ApplicationWindow {
    id: window

    visible: true
    width: 1400
    height: 900
    title: "Lumenfold OSC Emulator"

    Label {
        anchors.centerIn: parent
        text: backend ? backend.statusMessage : ""
    }
}
