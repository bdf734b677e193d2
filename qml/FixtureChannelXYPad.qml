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
    property real xValue: 0.5
    property real yValue: 0.5
    property string lastSent: ""
    // The desk's record of this pad (none for a pad on its own): its point and last
    // send outlive the item, and feedback moves it there.
    property var control: null

    function bounded01(v) {
        return Math.min(1, Math.max(0, v))
    }

    // Pad coordinates to values: x grows to the right, y grows upward.
    function valueAt(px, py) {
        return {
            x: bounded01(px / pad.width),
            y: bounded01(1 - py / pad.height)
        }
    }

    // Math.round rounds halves upward.
    function round3(v) {
        return Math.round(v * 1000) / 1000
    }

    function pairText(x, y) {
        return x + "," + y
    }

    function moveTo(px, py) {
        const value = valueAt(px, py)
        xValue = value.x
        yValue = value.y
        if (control)
            control.setPoint(xValue, yValue)
        if (!sendThrottle.running)
            sendThrottle.start()
    }

    function noteReleased() {
        sendThrottle.stop()
        sendValue()
    }

    // Takes up where the desk's record stands, sending nothing.
    function attach(entry) {
        xValue = entry.xValue
        yValue = entry.yValue
        lastSent = entry.lastSentPair
        control = entry
    }

    function sendValue() {
        if (!Backend.hasBackend() || Backend.deskEditing() || oscAddress === "")
            return
        const x = round3(xValue)
        const y = round3(yValue)
        const pair = pairText(x, y)
        if (pair === lastSent)
            return
        lastSent = pair
        backend.sendOscTyped(oscAddress, "ff", [x, y])
    }

    implicitWidth: 150
    implicitHeight: 190
    radius: 4
    color: Palette.controlBackground
    border.color: Palette.border
    border.width: 1

    onLastSentChanged: {
        if (control)
            control.lastSentPair = lastSent
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 4
        spacing: 4

        Rectangle {
            id: pad

            objectName: "pad"
            radius: 4
            color: Palette.padBackground
            border.color: padArea.pressed ? Palette.accent : Palette.border
            border.width: 1
            clip: true
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.minimumHeight: 100

            Rectangle {
                x: root.xValue * pad.width
                width: 1
                height: pad.height
                color: Palette.padCrosshair
            }

            Rectangle {
                y: (1 - root.yValue) * pad.height
                width: pad.width
                height: 1
                color: Palette.padCrosshair
            }

            Rectangle {
                objectName: "knob"
                x: root.xValue * pad.width - width / 2
                y: (1 - root.yValue) * pad.height - height / 2
                width: 16
                height: 16
                radius: 8
                color: padArea.pressed ? Palette.accent : Palette.padKnob
                border.color: Palette.text
                border.width: 1
            }

            MouseArea {
                id: padArea

                objectName: "padArea"
                anchors.fill: parent
                preventStealing: true

                onPressed: function(mouse) { root.moveTo(mouse.x, mouse.y) }
                onPositionChanged: function(mouse) {
                    if (pressed)
                        root.moveTo(mouse.x, mouse.y)
                }
                onPressedChanged: {
                    if (root.control)
                        root.control.held = pressed
                }
                onReleased: root.noteReleased()
                onCanceled: root.noteReleased()
            }
        }

        Text {
            objectName: "caption"
            text: (root.label !== "" ? root.label + " " : "") + root.channel
            color: Palette.text
            font.pixelSize: 9
            horizontalAlignment: Text.AlignHCenter
            elide: Text.ElideRight
            Layout.fillWidth: true
        }

        Text {
            objectName: "valueText"
            text: "x " + root.xValue.toFixed(2) + "  y " + root.yValue.toFixed(2) + "  ,ff"
            color: Palette.caption
            font.pixelSize: 8
            horizontalAlignment: Text.AlignHCenter
            Layout.fillWidth: true
        }
    }

    Connections {
        target: root.control

        function onPointChanged() {
            root.xValue = root.control.xValue
            root.yValue = root.control.yValue
        }
    }

    Timer {
        id: sendThrottle

        objectName: "sendThrottle"
        interval: Rules.throttleInterval
        repeat: false
        onTriggered: root.sendValue()
    }
}
