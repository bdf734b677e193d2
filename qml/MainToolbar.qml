import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts

// The check boxes that show or hide the panels and the log.
Panel {
    id: toolbar

    property alias showStatus: statusToggle.checked
    property alias showPort: portToggle.checked
    property alias showTarget: targetToggle.checked
    property alias showLog: logToggle.checked
    property alias showMonitor: monitorToggle.checked
    property alias showScenarios: scenarioToggle.checked

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
            id: scenarioToggle
            objectName: "scenarioToggle"
            text: "Escenarios"
            checked: false
            ToolTip.visible: hovered
            ToolTip.text: "Grabar y reproducir escenarios: envíos con su tiempo y lo que el destino debe hacer"
        }
        CheckBox {
            id: monitorToggle
            objectName: "monitorToggle"
            text: "Monitor"
            checked: false
            ToolTip.visible: hovered
            ToolTip.text: "Mostrar el monitor: lo que responde el destino, byte a byte"
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
