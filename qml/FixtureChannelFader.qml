import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import "Backend.js" as Backend
import "Palette.js" as Palette
import "Rules.js" as Rules

Rectangle {
    id: root

    property int universe: 0
    property int channel: 1
    property string label: ""
    property string oscAddress: ""
    property real valueScale: 1.0
    property string argType: ""
    property int lastSentValue: -1
    // The desk's record of this fader (none for a fader on its own): its position and
    // last send outlive the item, and feedback moves it there.
    property var control: null

    // Math.round rounds halves upward, as the sends require.
    function scaledValue(v) {
        return Math.round(v * valueScale)
    }

    // Rounds 128 to 64; differs on purpose from the backend's mapToInt127 (valuemapping.h), which gives 63.
    function toInt127(scaled) {
        return Math.round(scaled * 127 / 255)
    }

    function toUnit(scaled) {
        return scaled / 255
    }

    function captionText(value) {
        return (label !== "" ? label + " " : "") + channel + " (" + Math.round(value) + ")"
                + (argType !== "" ? " ," + argType : "")
    }

    function noteMoved() {
        if (!sendThrottle.running)
            sendThrottle.start()
    }

    function noteReleased() {
        sendThrottle.stop()
        sendValue(valueSlider.value)
    }

    // Takes up where the desk's record stands, sending nothing.
    function attach(entry) {
        valueSlider.value = entry.value
        lastSentValue = entry.lastSentValue
        control = entry
    }

    function sendValue(v) {
        if (!Backend.hasBackend() || Backend.deskEditing())
            return
        const scaled = scaledValue(v)
        if (scaled === lastSentValue)
            return
        lastSentValue = scaled
        if (oscAddress === "") {
            backend.sendOscChannel(universe, channel, scaled)
        } else if (argType === "i" || argType === "h") {
            backend.sendOscTyped(oscAddress, argType, [toInt127(scaled)])
        } else if (argType === "f" || argType === "d") {
            backend.sendOscTyped(oscAddress, argType, [toUnit(scaled)])
        } else {
            backend.sendOscToAddress(oscAddress, scaled)
        }
    }

    implicitWidth: 40
    implicitHeight: 160
    radius: 4
    color: Palette.controlBackground
    border.color: Palette.border
    border.width: 1

    onLastSentValueChanged: {
        if (control)
            control.lastSentValue = lastSentValue
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 4
        spacing: 4

        Slider {
            id: valueSlider

            objectName: "valueSlider"
            orientation: Qt.Vertical
            from: 0
            to: 255
            stepSize: 1
            snapMode: Slider.NoSnap
            live: true
            value: 0
            Layout.fillWidth: true
            Layout.fillHeight: true

            onMoved: root.noteMoved()
            onValueChanged: {
                if (root.control)
                    root.control.value = value
            }
            onPressedChanged: {
                if (!pressed)
                    root.noteReleased()
                if (root.control)
                    root.control.held = pressed
            }
        }

        Text {
            objectName: "caption"
            text: root.captionText(valueSlider.value)
            color: Palette.text
            font.pixelSize: 9
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
            Layout.fillWidth: true
        }
    }

    Connections {
        target: root.control

        function onValueChanged() {
            valueSlider.value = root.control.value
        }
    }

    Timer {
        id: sendThrottle

        objectName: "sendThrottle"
        interval: Rules.throttleInterval
        repeat: false
        onTriggered: root.sendValue(valueSlider.value)
    }
}
