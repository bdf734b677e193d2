import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import "Palette.js" as Palette

// One line that stands in for the hidden log: its newest line.
Rectangle {
    id: footer

    property string line

    signal showRequested()

    objectName: "footer"
    color: Palette.stripBackground
    radius: 6
    border.color: Palette.border
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
            text: footer.line
            font.pixelSize: 10
            font.family: "Consolas, monospace"
            color: Palette.logColor(footer.line)
            elide: Text.ElideRight
            Layout.fillWidth: true
        }
        ToolButton {
            objectName: "showLogButton"
            text: "Mostrar log"
            font.pixelSize: 11
            onClicked: footer.showRequested()
        }
    }
}
