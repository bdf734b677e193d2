import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

Rectangle {
    id: root

    property int universe: 0
    property int channel: 1
    property string label: ""
    property string oscAddress: ""
    property real xValue: 0.5
    property real yValue: 0.5
    property string lastSent: ""

    function hasBackend() {
        return typeof backend !== "undefined" && backend !== null
    }

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
        if (!sendThrottle.running)
            sendThrottle.start()
    }

    function noteReleased() {
        sendThrottle.stop()
        sendValue()
    }

    function sendValue() {
        if (!hasBackend() || oscAddress === "")
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
    color: "#252525"
    border.color: "#404040"
    border.width: 1

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 4
        spacing: 4

        Rectangle {
            id: pad

            objectName: "pad"
            radius: 4
            color: "#1a1a1a"
            border.color: padArea.pressed ? "#4fc3f7" : "#404040"
            border.width: 1
            clip: true
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.minimumHeight: 100

            Rectangle {
                x: root.xValue * pad.width
                width: 1
                height: pad.height
                color: "#3a5a6a"
            }

            Rectangle {
                y: (1 - root.yValue) * pad.height
                width: pad.width
                height: 1
                color: "#3a5a6a"
            }

            Rectangle {
                objectName: "knob"
                x: root.xValue * pad.width - width / 2
                y: (1 - root.yValue) * pad.height - height / 2
                width: 16
                height: 16
                radius: 8
                color: padArea.pressed ? "#4fc3f7" : "#81d4fa"
                border.color: "#ffffff"
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
                onReleased: root.noteReleased()
                onCanceled: root.noteReleased()
            }
        }

        Text {
            objectName: "caption"
            text: (root.label !== "" ? root.label + " " : "") + root.channel
            color: "white"
            font.pixelSize: 9
            horizontalAlignment: Text.AlignHCenter
            elide: Text.ElideRight
            Layout.fillWidth: true
        }

        Text {
            objectName: "valueText"
            text: "x " + root.xValue.toFixed(2) + "  y " + root.yValue.toFixed(2) + "  ,ff"
            color: "#b0b0b0"
            font.pixelSize: 8
            horizontalAlignment: Text.AlignHCenter
            Layout.fillWidth: true
        }
    }

    Timer {
        id: sendThrottle

        objectName: "sendThrottle"
        interval: 33
        repeat: false
        onTriggered: root.sendValue()
    }
}
