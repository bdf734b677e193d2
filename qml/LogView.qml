import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import "Backend.js" as Backend
import "Palette.js" as Palette

// The log panel: every line of the levelled log, coloured by its level, newest at the bottom.
Rectangle {
    id: logPanel

    signal hideRequested()

    component LogButton: Button {
        id: logButton

        property string toolTipText

        flat: true
        ToolTip.visible: hovered && toolTipText !== ""
        ToolTip.text: toolTipText
        background: Rectangle {
            radius: 4
            color: logButton.pressed ? Palette.buttonPressed : Palette.border
        }
        contentItem: Text {
            text: logButton.text
            color: Palette.text
            font.pixelSize: 11
            horizontalAlignment: Text.AlignHCenter
            verticalAlignment: Text.AlignVCenter
        }
    }

    objectName: "logPanel"
    color: Palette.stripBackground
    radius: 8
    border.color: Palette.border
    border.width: 1

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 10
        spacing: 5

        RowLayout {
            Layout.fillWidth: true

            Text {
                text: "Log Messages"
                font.pixelSize: 14
                font.bold: true
                color: Palette.text
                Layout.fillWidth: true
            }
            LogButton {
                objectName: "hideLogButton"
                text: "Ocultar"
                toolTipText: "Ocultar el log y dar todo el alto a la mesa"
                onClicked: logPanel.hideRequested()
            }
            LogButton {
                objectName: "clearLogButton"
                text: "Clear"
                onClicked: {
                    if (Backend.hasBackend())
                        backend.clearLog()
                }
            }
        }

        ScrollView {
            clip: true
            Layout.fillWidth: true
            Layout.fillHeight: true

            ListView {
                id: logListView
                objectName: "logListView"

                model: Backend.hasBackend() ? backend.logMessages : []
                onCountChanged: Qt.callLater(logListView.positionViewAtEnd)
                onHeightChanged: Qt.callLater(logListView.positionViewAtEnd)

                delegate: Rectangle {
                    required property int index
                    required property string modelData

                    width: ListView.view.width
                    height: lineText.height + 4
                    color: index % 2 === 0 ? Palette.logEvenRow : Palette.logOddRow

                    Text {
                        id: lineText
                        anchors.left: parent.left
                        anchors.right: parent.right
                        anchors.leftMargin: 5
                        anchors.rightMargin: 5
                        anchors.verticalCenter: parent.verticalCenter
                        text: modelData
                        font.pixelSize: 10
                        font.family: "Consolas, monospace"
                        color: Palette.logColor(modelData)
                        wrapMode: Text.Wrap
                    }
                }
            }
        }
    }
}
