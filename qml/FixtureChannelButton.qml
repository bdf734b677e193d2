import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import "Backend.js" as Backend
import "Palette.js" as Palette

Rectangle {
    id: root

    property int universe: 0
    property int channel: 1
    property string label: ""
    property string oscAddress: ""
    property string mode: "toggle"
    property string argType: ""
    property string stringValue: ""
    // A momentary press whose off message is still owed (by a release or a cancel).
    property bool momentaryHeld: false
    // The desk's record of this button (none for a button on its own): a toggle's state
    // outlives the item, and feedback switches it there.
    property var control: null

    function channelText() {
        if (argType === "none")
            return channel + " ()"
        return argType !== "" ? channel + " ," + argType : String(channel)
    }

    function toolTipText() {
        return label + "  -  " + oscAddress + (mode === "toggle" ? "  (toggle)" : "")
    }

    function sendState(on) {
        if (!Backend.hasBackend() || Backend.deskEditing())
            return
        if (oscAddress === "") {
            backend.sendOscChannel(universe, channel, on ? 255 : 0)
        } else if (argType === "T") {
            backend.sendOscTyped(oscAddress, on ? "T" : "F", [])
        } else if (argType === "none" || argType === "I" || argType === "s") {
            // A trigger has no off message.
            if (!on)
                return
            if (argType === "none")
                backend.sendOscTyped(oscAddress, "", [])
            else if (argType === "I")
                backend.sendOscTyped(oscAddress, "I", [])
            else
                backend.sendOscTyped(oscAddress, "s", [stringValue])
        } else {
            backend.sendOscToAddress(oscAddress, on ? 255 : 0)
        }
    }

    // Takes up where the desk's record stands, sending nothing.
    function attach(entry) {
        if (btn.checkable)
            btn.checked = entry.checked
        control = entry
    }

    function beginMomentary() {
        if (mode !== "momentary" || momentaryHeld)
            return
        momentaryHeld = true
        sendState(true)
    }

    function endMomentary() {
        if (!momentaryHeld)
            return
        momentaryHeld = false
        sendState(false)
    }

    implicitWidth: 56
    implicitHeight: 64
    radius: 4
    color: btn.checked ? Palette.checkedButton : Palette.controlBackground
    border.color: btn.checked ? Palette.accent : Palette.border
    border.width: btn.checked ? 2 : 1

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 4
        spacing: 4

        Button {
            id: btn

            objectName: "btn"
            text: ""
            topInset: 0
            bottomInset: 0
            padding: 0
            checkable: root.mode === "toggle"
            Layout.fillWidth: true
            Layout.fillHeight: true
            ToolTip.visible: hovered && root.label !== ""
            ToolTip.delay: 500
            ToolTip.text: root.toolTipText()

            onCheckedChanged: {
                if (root.control)
                    root.control.checked = checked
            }
            onPressedChanged: {
                if (root.control)
                    root.control.held = pressed
            }
            onClicked: {
                if (root.mode === "toggle")
                    root.sendState(checked)
            }
            onPressed: root.beginMomentary()
            onReleased: root.endMomentary()
            onCanceled: root.endMomentary()
        }

        Text {
            objectName: "labelText"
            text: root.label
            color: Palette.text
            font.pixelSize: 9
            horizontalAlignment: Text.AlignHCenter
            elide: Text.ElideRight
            Layout.fillWidth: true
        }

        Text {
            objectName: "channelText"
            text: root.channelText()
            color: Palette.caption
            font.pixelSize: 8
            horizontalAlignment: Text.AlignHCenter
            Layout.fillWidth: true
        }
    }

    Connections {
        target: root.control

        function onCheckedChanged() {
            if (btn.checkable)
                btn.checked = root.control.checked
        }
    }
}
