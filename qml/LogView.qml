import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import "Backend.js" as Backend
import "Palette.js" as Palette

// The log panel: every line of the levelled log, coloured by its level, newest at the bottom.
// A click selects a line; Ctrl+C or the context menu copies it, or the hex it holds.
Rectangle {
    id: logPanel

    // The selected line's index in the log, or -1; it stays on its line as the oldest go.
    property int selectedLine: -1

    signal hideRequested()

    // The datagram bytes a line shows after "hex=", or "".
    function hexOf(line) {
        const found = /\bhex=([0-9a-f]+)/.exec(line)
        return found !== null ? found[1] : ""
    }

    function copySelected(asHex) {
        if (!Backend.hasLogLines() || selectedLine < 0 || selectedLine >= logListView.count)
            return
        const line = logLines.line(selectedLine)
        clipboard.copyText(asHex ? hexOf(line) : line)
    }

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

                // One row inserted a line, and at the log's bound the oldest row removed.
                model: Backend.hasLogLines() ? logLines : []
                // Rows that scroll out are used again for the rows that scroll in.
                reuseItems: true
                keyNavigationEnabled: false
                onHeightChanged: Qt.callLater(logListView.positionViewAtEnd)
                Keys.onPressed: function(event) {
                    if (event.matches(StandardKey.Copy)) {
                        logPanel.copySelected(false)
                        event.accepted = true
                    }
                }

                Connections {
                    target: Backend.hasLogLines() ? logLines : null
                    // At its bound the log gains a line and loses one: its count stays.
                    function onRowsInserted() { Qt.callLater(logListView.positionViewAtEnd) }
                    // The selection stays on its line as the oldest go, and goes with it.
                    function onRowsRemoved(parent, first, last) {
                        if (logPanel.selectedLine > last)
                            logPanel.selectedLine -= last - first + 1
                        else if (logPanel.selectedLine >= first)
                            logPanel.selectedLine = -1
                    }
                    function onModelReset() { logPanel.selectedLine = -1 }
                }

                delegate: Rectangle {
                    required property int index
                    required property string line

                    width: ListView.view.width
                    height: lineText.height + 4
                    color: index === logPanel.selectedLine ? Palette.checkedButton
                                                           : (index % 2 === 0 ? Palette.logEvenRow : Palette.logOddRow)

                    Text {
                        id: lineText
                        anchors.left: parent.left
                        anchors.right: parent.right
                        anchors.leftMargin: 5
                        anchors.rightMargin: 5
                        anchors.verticalCenter: parent.verticalCenter
                        text: line
                        font.pixelSize: 10
                        font.family: "Consolas, monospace"
                        color: Palette.logColor(line)
                        wrapMode: Text.Wrap
                    }

                    MouseArea {
                        id: lineArea
                        anchors.fill: parent
                        acceptedButtons: Qt.LeftButton | Qt.RightButton
                        onClicked: function(mouse) {
                            logPanel.selectedLine = index
                            logListView.forceActiveFocus()
                            if (mouse.button === Qt.RightButton) {
                                copyHexItem.visible = logPanel.hexOf(line) !== ""
                                lineMenu.popup(lineArea, mouse.x, mouse.y)
                            }
                        }
                    }
                }

                Menu {
                    id: lineMenu
                    objectName: "logLineMenu"

                    MenuItem {
                        objectName: "copyLineItem"
                        text: "Copiar"
                        onTriggered: logPanel.copySelected(false)
                    }
                    // Offered where the line holds a datagram's bytes.
                    MenuItem {
                        id: copyHexItem
                        objectName: "copyLineHexItem"
                        text: "Copiar hex"
                        height: visible ? implicitHeight : 0
                        onTriggered: logPanel.copySelected(true)
                    }
                }
            }
        }
    }

    Clipboard {
        id: clipboard
    }
}
