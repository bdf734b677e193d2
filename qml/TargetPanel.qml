import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import "Backend.js" as Backend

// Where and how every send goes: host, port, int or float values, bundling; and Test.
Panel {
    id: targetPanel
    objectName: "targetPanel"

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
            text: Backend.hasBackend() ? backend.oscTargetHost : "127.0.0.1"
            Layout.preferredWidth: 140
            onEditingFinished: {
                if (Backend.hasBackend())
                    backend.oscTargetHost = text
            }
        }
        SpinBox {
            id: oscPortField
            objectName: "oscPortField"
            from: 1
            to: 65535
            editable: false
            value: Backend.hasBackend() ? backend.oscTargetPort : from
            textFromValue: function(value) { return String(value) }
            onValueChanged: {
                if (Backend.hasBackend())
                    backend.oscTargetPort = value
            }
        }
        CheckBox {
            id: intValuesCheck
            objectName: "intValuesCheck"
            text: "Int 0-127"
            checked: Backend.hasBackend() ? backend.sendIntValues : false
            ToolTip.visible: hovered
            ToolTip.text: "Enviar ints 0-127 (,i) en vez de floats 0.0-1.0 (,f). Lumenfold espera floats en OSC salvo que el mapeo defina inMin/inMax."
            onToggled: {
                if (Backend.hasBackend())
                    backend.sendIntValues = checked
            }
        }
        CheckBox {
            id: bundleCheck
            objectName: "bundleCheck"
            text: "Bundle"
            checked: Backend.hasBackend() ? backend.sendAsBundle : false
            ToolTip.visible: hovered
            ToolTip.text: "Enviar cada mensaje dentro de un #bundle (como TouchOSC con bundling activado)"
            onToggled: {
                if (Backend.hasBackend())
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
                if (Backend.hasBackend()) {
                    backend.sendOscToAddress("/deck1/play", 255)
                    backend.sendOscToAddress("/deck1/play", 0)
                }
            }
        }
        Item { Layout.fillWidth: true }
    }
}
