import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import "Backend.js" as Backend
import "Palette.js" as Palette

// The desk's editor, under its header while "Editar mesa" is on: the edits of the desk as a
// whole, then the fields of the strip or control a click selected. Each field is checked as
// it is typed, with the reason beside it, and applied on Enter or when it loses focus.
Rectangle {
    id: root

    readonly property bool ready: Backend.hasDeskEditor()
    readonly property int strip: ready ? deskEditor.selectedStrip : -1
    readonly property int offset: ready ? deskEditor.selectedChannel : -1
    readonly property var undoStack: ready ? deskEditor.undoStack : null
    // Raised by every edit, undo, load and selection: the fields are read again.
    property int revision: 0
    readonly property var fields: readFields(revision, strip, offset)
    readonly property string selectionKind: strip < 0 ? "" : (offset < 0 ? "strip" : "control")
    readonly property string controlType: selectionKind === "control" && fields.controlType ? fields.controlType : ""
    readonly property var fieldKeys: keysFor(selectionKind, controlType)

    readonly property var captions: ({
        name: "Nombre", manufacturer: "Fabricante", modelName: "Modelo", deviceType: "Tipo de dispositivo",
        universe: "Universo", startChannel: "Canal inicial", channelCount: "Canales",
        label: "Etiqueta", controlType: "Control", mode: "Modo", oscAddress: "Dirección OSC",
        argType: "Tipo de argumento", stringValue: "Texto enviado"
    })
    readonly property var choiceTexts: ({
        fader: "Fader", button: "Botón", xy: "XY pad", toggle: "Toggle", momentary: "Momentáneo",
        "": "(global)", none: "sin argumento"
    })

    function readFields() {
        if (strip < 0)
            return {}
        return offset < 0 ? deskEditor.stripFields(strip) : deskEditor.controlFields(strip, offset)
    }

    function keysFor(kind, type) {
        if (kind === "strip") {
            return [{ key: "name", width: 160 }, { key: "manufacturer", width: 120 }, { key: "modelName", width: 120 },
                    { key: "deviceType", width: 120 }, { key: "universe", width: 70 },
                    { key: "startChannel", width: 70 }, { key: "channelCount", width: 70 }]
        }
        if (kind !== "control")
            return []
        const keys = [{ key: "label", width: 120 },
                      { key: "controlType", choices: ["fader", "button", "xy"] }]
        if (type === "button")
            keys.push({ key: "mode", choices: ["toggle", "momentary"] })
        keys.push({ key: "oscAddress", width: 200 })
        if (type !== "xy")
            keys.push({ key: "argType", choices: deskEditor.argTypesFor(type) })
        if (type === "button")
            keys.push({ key: "stringValue", width: 120 })
        return keys
    }

    function check(key, value) {
        if (selectionKind === "strip")
            return deskEditor.checkStripField(key, value)
        return deskEditor.checkControlField(key, value, controlType)
    }

    // A refused edit keeps what was typed, with its reason; the log says it too.
    function apply(key, value) {
        const done = selectionKind === "strip" ? deskEditor.setStripField(strip, key, value)
                                               : deskEditor.setControlField(strip, offset, key, value)
        revision++
        return done
    }

    color: Palette.panel
    radius: 6
    border.color: Palette.border
    border.width: 1
    implicitHeight: content.implicitHeight + 12

    Connections {
        target: root.undoStack

        function onIndexChanged() {
            root.revision++
        }
    }

    Connections {
        target: root.ready ? desk : null

        function onLoaded() {
            root.revision++
        }
    }

    ColumnLayout {
        id: content

        anchors.fill: parent
        anchors.margins: 6
        spacing: 4

        Flow {
            spacing: 4
            Layout.fillWidth: true

            EditButton {
                objectName: "addStripButton"
                text: "Añadir fixture"
                onClicked: deskEditor.addStrip()
            }
            EditButton {
                objectName: "removeStripButton"
                text: "Quitar fixture"
                enabled: root.strip >= 0
                onClicked: deskEditor.removeStrip(root.strip)
            }
            EditButton {
                objectName: "duplicateStripButton"
                text: "Duplicar"
                enabled: root.strip >= 0
                tip: "Duplicar la tira, cambiando en sus direcciones lo buscado por su reemplazo"
                onClicked: deskEditor.duplicateStrip(root.strip, findField.text, replaceField.text)
            }
            TextField {
                id: findField

                objectName: "findField"
                width: 110
                placeholderText: "Buscar: /deck1/"
            }
            TextField {
                id: replaceField

                objectName: "replaceField"
                width: 110
                placeholderText: "Por: /deck2/"
            }
            EditButton {
                objectName: "moveLeftButton"
                text: "\u2190"
                tip: "Mover la tira a la izquierda"
                enabled: root.strip > 0
                onClicked: deskEditor.moveStrip(root.strip, -1)
            }
            EditButton {
                objectName: "moveRightButton"
                text: "\u2192"
                tip: "Mover la tira a la derecha"
                enabled: root.strip >= 0
                onClicked: deskEditor.moveStrip(root.strip, 1)
            }
            EditButton {
                objectName: "addChannelButton"
                text: "Añadir canal"
                enabled: root.strip >= 0
                onClicked: deskEditor.addChannel(root.strip)
            }
            EditButton {
                objectName: "removeChannelButton"
                text: "Quitar canal"
                enabled: root.strip >= 0 && root.offset >= 0
                onClicked: deskEditor.removeChannel(root.strip, root.offset)
            }
            EditButton {
                objectName: "undoButton"
                text: "Deshacer"
                enabled: root.undoStack !== null && root.undoStack.canUndo
                tip: root.undoStack && root.undoStack.canUndo ? "Deshacer: " + root.undoStack.undoText + " (Ctrl+Z)"
                                                              : "Nada que deshacer"
                onClicked: deskEditor.undo()
            }
            EditButton {
                objectName: "redoButton"
                text: "Rehacer"
                enabled: root.undoStack !== null && root.undoStack.canRedo
                tip: root.undoStack && root.undoStack.canRedo
                     ? "Rehacer: " + root.undoStack.redoText + " (Ctrl+Mayús+Z)" : "Nada que rehacer"
                onClicked: deskEditor.redo()
            }
        }

        Caption {
            objectName: "editHint"
            visible: root.selectionKind === ""
            text: "Haz clic en una tira o en un control para editarlo."
        }

        Flow {
            objectName: "fieldsFlow"
            visible: root.selectionKind !== ""
            spacing: 8
            Layout.fillWidth: true

            Repeater {
                model: root.fieldKeys

                delegate: Column {
                    id: field

                    required property var modelData
                    readonly property string key: modelData.key
                    readonly property var choices: modelData.choices || null
                    readonly property string value: root.fields[key] !== undefined ? String(root.fields[key]) : ""
                    property string reason: ""

                    function reset() {
                        textField.text = value
                        reason = ""
                        if (choices)
                            choiceBox.currentIndex = choices.indexOf(value)
                    }

                    spacing: 0
                    visible: key !== "stringValue" || root.fields.argType === "s"
                    onValueChanged: reset()
                    Component.onCompleted: reset()

                    // What was typed and refused belongs to the old selection only.
                    Connections {
                        target: root

                        function onStripChanged() {
                            field.reset()
                        }

                        function onOffsetChanged() {
                            field.reset()
                        }
                    }

                    Caption {
                        text: root.captions[field.key]
                        font.pixelSize: 10
                    }
                    TextField {
                        id: textField

                        objectName: field.key + "Field"
                        visible: !field.choices
                        width: field.modelData.width || 100
                        color: field.reason !== "" ? Palette.invalid : Palette.text
                        selectByMouse: true
                        onTextEdited: field.reason = root.check(field.key, text)
                        onEditingFinished: {
                            if (text !== field.value && !root.apply(field.key, text))
                                field.reason = root.check(field.key, text) || field.reason
                        }
                    }
                    ComboBox {
                        id: choiceBox

                        objectName: field.key + "Choice"
                        visible: field.choices !== null
                        width: 130
                        model: field.choices ? field.choices.map(c => root.choiceTexts[c] !== undefined
                                                                      ? root.choiceTexts[c] : c) : []
                        onActivated: function(index) {
                            if (field.choices[index] !== field.value)
                                root.apply(field.key, field.choices[index])
                        }
                    }
                    Text {
                        objectName: field.key + "Reason"
                        text: field.reason
                        visible: text !== ""
                        width: textField.width
                        color: Palette.invalid
                        font.pixelSize: 10
                        wrapMode: Text.Wrap
                    }
                }
            }
        }
    }

    component EditButton: Button {
        property string tip: ""

        implicitHeight: 36
        ToolTip.visible: hovered && tip !== ""
        ToolTip.delay: 500
        ToolTip.text: tip
    }
}
