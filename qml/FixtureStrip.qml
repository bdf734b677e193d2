import QtQuick
import QtQuick.Layouts
import "Palette.js" as Palette

Rectangle {
    id: root

    property var fixture: ({})
    readonly property int universe: fixtureValue("universe", 0)
    readonly property int startChannel: fixtureValue("startChannel", 1)
    readonly property int channelCount: fixtureValue("channelCount", 1)
    readonly property string name: fixtureValue("name", "Fixture")
    readonly property string manufacturer: fixtureValue("manufacturer", "")
    readonly property string modelName: fixtureValue("model", "")
    readonly property string deviceType: fixtureValue("deviceType", "Generic")
    // One element per channel: { channel: number, entry: channel entry or null }.
    readonly property var channels: channelsOf(fixture, startChannel, channelCount)
    readonly property var continuousChannels: channels.filter(element => !isButton(element))
    readonly property var buttonChannels: channels.filter(element => isButton(element))
    readonly property int buttonColumns: columnsFor(buttonChannels.length)
    // A pad's preferred width: the row's height, at least 140. It follows the row's height
    // after the layout pass that sets it; changed from inside that pass, Qt Quick Layouts
    // would keep a stale implicit width for the row.
    property real padWidth: 140
    // The strip's controls, as they are configured.
    property var controls: []

    // A present key is used, even when its value is null (empty text, or 0); the fallback
    // is for a missing key only.
    function fixtureValue(key, fallback) {
        const value = fixture ? fixture[key] : undefined
        if (value === undefined)
            return fallback
        if (value === null)
            return typeof fallback === "number" ? 0 : ""
        return value
    }

    function entryOf(fixture, channel) {
        const capabilities = fixture ? fixture.capabilities : undefined
        if (!capabilities || !capabilities.channels)
            return null
        return capabilities.channels[String(channel)] || null
    }

    function channelsOf(fixture, start, count) {
        const list = []
        for (let i = 0; i < count; ++i)
            list.push({ channel: start + i, entry: entryOf(fixture, start + i) })
        return list
    }

    function isButton(element) {
        return element.entry !== null && element.entry.controlType === "button"
    }

    function isXYPad(element) {
        return element.entry !== null && element.entry.controlType === "xy"
    }

    // At most four buttons per row, in the fewest columns that hold them in ceil(n / 4) rows.
    function columnsFor(n) {
        return n <= 4 ? Math.max(1, n) : Math.ceil(n / Math.ceil(n / 4))
    }

    function isGiven(value) {
        return value !== undefined && value !== null && value !== ""
    }

    function labelFor(element) {
        if (element.entry !== null && isGiven(element.entry.label))
            return String(element.entry.label)
        const position = element.channel - startChannel
        if (deviceType.toLowerCase().indexOf("rgb") >= 0 && position >= 0 && position < 3)
            return ["R", "G", "B"][position]
        return ""
    }

    function subtitleText() {
        if (manufacturer === "" && modelName === "")
            return deviceType
        return manufacturer + (manufacturer !== "" && modelName !== "" ? " " : "") + modelName
    }

    function rangeText() {
        return "Univ " + universe + " | CH " + startChannel + "\u2013" + (startChannel + channelCount - 1)
    }

    function updatePadWidth() {
        padWidth = Math.max(140, continuousRow.height)
    }

    function configure(control, element) {
        const entry = element.entry !== null ? element.entry : {}
        controls.push(control)
        control.universe = universe
        control.channel = element.channel
        control.label = labelFor(element)
        if (isGiven(entry.oscAddress))
            control.oscAddress = String(entry.oscAddress)
        if (isButton(element))
            control.mode = isGiven(entry.mode) ? String(entry.mode) : "toggle"
        if (isGiven(entry.argType) && control.argType !== undefined)
            control.argType = String(entry.argType)
        if (isGiven(entry.stringValue) && control.stringValue !== undefined)
            control.stringValue = String(entry.stringValue)
    }

    implicitWidth: Math.max(170, continuousRow.implicitWidth, buttonGrid.implicitWidth) + 16
    implicitHeight: 360
    color: Palette.stripBackground
    radius: 8
    border.color: Palette.border
    border.width: 1

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 8
        spacing: 8

        ColumnLayout {
            spacing: 2
            Layout.fillWidth: true

            Text {
                objectName: "nameText"
                text: root.name
                color: Palette.text
                font.pixelSize: 12
                font.bold: true
                elide: Text.ElideRight
                Layout.fillWidth: true
            }

            Text {
                objectName: "subtitleText"
                text: root.subtitleText()
                color: Palette.caption
                font.pixelSize: 10
                elide: Text.ElideRight
                Layout.fillWidth: true
            }

            Text {
                objectName: "rangeText"
                text: root.rangeText()
                color: Palette.faintCaption
                font.pixelSize: 9
                Layout.fillWidth: true
            }
        }

        RowLayout {
            id: continuousRow

            objectName: "continuousRow"
            visible: root.continuousChannels.length > 0
            spacing: 4
            Layout.fillWidth: true
            Layout.fillHeight: true

            onHeightChanged: Qt.callLater(root.updatePadWidth)

            Repeater {
                model: root.continuousChannels

                delegate: Loader {
                    required property var modelData

                    sourceComponent: root.isXYPad(modelData) ? xyPadComponent : faderComponent
                    Layout.fillHeight: true
                    Layout.preferredWidth: root.isXYPad(modelData) ? root.padWidth : 40

                    onLoaded: root.configure(item, modelData)
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
            visible: root.buttonChannels.length > 0
            columns: root.buttonColumns
            spacing: 4
            Layout.alignment: Qt.AlignLeft | Qt.AlignBottom

            Repeater {
                model: root.buttonChannels

                delegate: FixtureChannelButton {
                    required property var modelData

                    width: 56
                    height: 64

                    Component.onCompleted: root.configure(this, modelData)
                }
            }
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
