import QtQuick
import QtQuick.Layouts
import "Backend.js" as Backend
import "Palette.js" as Palette

Rectangle {
    id: root

    property int universe: 0
    property int startChannel: 1
    property int channelCount: 1
    property string name: ""
    property string manufacturer: ""
    property string modelName: ""
    property string deviceType: ""
    // The desk's controls (lists of DeskControl) of the faders and pads, and of the
    // buttons, in channel order.
    property var continuousControls: null
    property var buttonControls: null
    property int buttonColumns: 1
    // A pad's width: the fader row's height, at least 140, as the desk lays strips out.
    property real padWidth: 140
    // While the desk is edited, a click selects this strip (offset -1) or one of its
    // controls (the channel's offset in the strip) instead of moving it.
    property int stripIndex: -1
    property bool editing: false
    property bool selected: false
    property int selectedOffset: -1

    function select(offset) {
        if (!Backend.hasDeskEditor())
            return
        // A field being edited is applied to what it belongs to before the selection moves.
        root.Window.contentItem.forceActiveFocus()
        deskEditor.selectedStrip = stripIndex
        deskEditor.selectedChannel = offset
    }

    function subtitleText() {
        if (manufacturer === "" && modelName === "")
            return deviceType
        return manufacturer + (manufacturer !== "" && modelName !== "" ? " " : "") + modelName
    }

    function rangeText() {
        return "Univ " + universe + " | CH " + startChannel + "\u2013" + (startChannel + channelCount - 1)
    }

    // Once, right after the item is made: what the channel entry says, then the state
    // the desk holds for it.
    function configure(item, control) {
        item.universe = control.universe
        item.channel = control.channel
        item.label = control.label
        if (control.oscAddress !== "")
            item.oscAddress = control.oscAddress
        if (control.kind === "button")
            item.mode = control.mode
        if (control.argType !== "" && item.argType !== undefined)
            item.argType = control.argType
        if (control.stringValue !== "" && item.stringValue !== undefined)
            item.stringValue = control.stringValue
        item.attach(control)
    }

    implicitHeight: 360
    color: Palette.stripBackground
    radius: 8
    border.color: Palette.border
    border.width: 1

    // Below the controls' own marks: a click beside every control selects the strip.
    MouseArea {
        objectName: "stripEditArea"
        anchors.fill: parent
        visible: root.editing
        onClicked: root.select(-1)
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 8
        spacing: 8

        Header {
            name: root.name
            subtitle: root.subtitleText()
            range: root.rangeText()
            Layout.fillWidth: true
        }

        RowLayout {
            id: continuousRow

            objectName: "continuousRow"
            visible: (root.continuousControls ? root.continuousControls.count : 0) > 0
            spacing: 4
            Layout.fillWidth: true
            Layout.fillHeight: true

            Repeater {
                model: root.continuousControls

                delegate: Loader {
                    required property var deskControl

                    sourceComponent: deskControl.kind === "xy" ? xyPadComponent : faderComponent
                    Layout.fillHeight: true
                    Layout.preferredWidth: deskControl.kind === "xy" ? root.padWidth : 40

                    onLoaded: root.configure(item, deskControl)

                    EditMark {
                        offset: deskControl.channel - root.startChannel
                    }
                }
            }

            Item {
                Layout.fillWidth: true
            }
        }

        Item {
            visible: !continuousRow.visible
            Layout.fillHeight: true
        }

        Grid {
            id: buttonGrid

            objectName: "buttonGrid"
            visible: (root.buttonControls ? root.buttonControls.count : 0) > 0
            columns: root.buttonColumns
            spacing: 4
            Layout.alignment: Qt.AlignLeft | Qt.AlignBottom

            Repeater {
                model: root.buttonControls

                delegate: FixtureChannelButton {
                    required property var deskControl

                    width: 56
                    height: 64

                    Component.onCompleted: root.configure(this, deskControl)

                    EditMark {
                        offset: deskControl.channel - root.startChannel
                    }
                }
            }
        }
    }

    Rectangle {
        objectName: "stripSelectionMark"
        anchors.fill: parent
        visible: root.editing && root.selected && root.selectedOffset < 0
        color: "transparent"
        radius: root.radius
        border.color: Palette.accent
        border.width: 2
    }

    // Over a control while the desk is edited: takes its clicks and shows it selected.
    component EditMark: MouseArea {
        property int offset: 0
        readonly property bool chosen: root.selected && root.selectedOffset === offset

        objectName: "editMark"
        anchors.fill: parent
        z: 100
        visible: root.editing
        cursorShape: Qt.PointingHandCursor
        onClicked: root.select(offset)

        Rectangle {
            anchors.fill: parent
            radius: 4
            color: parent.chosen ? Palette.selectionTint : "transparent"
            border.color: parent.chosen ? Palette.accent : Palette.editOutline
            border.width: parent.chosen ? 2 : 1
        }
    }

    // The three lines above the controls; the desk measures one to lay strips out.
    component Header: ColumnLayout {
        property alias name: nameText.text
        property alias subtitle: subtitleText.text
        property alias range: rangeText.text

        spacing: 2

        Text {
            id: nameText

            objectName: "nameText"
            color: Palette.text
            font.pixelSize: 12
            font.bold: true
            elide: Text.ElideRight
            Layout.fillWidth: true
        }

        Text {
            id: subtitleText

            objectName: "subtitleText"
            color: Palette.caption
            font.pixelSize: 10
            elide: Text.ElideRight
            Layout.fillWidth: true
        }

        Text {
            id: rangeText

            objectName: "rangeText"
            color: Palette.faintCaption
            font.pixelSize: 9
            Layout.fillWidth: true
        }
    }

    Component {
        id: faderComponent

        FixtureChannelFader {}
    }

    Component {
        id: xyPadComponent

        FixtureChannelXYPad {}
    }
}
