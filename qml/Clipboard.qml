import QtQuick

// The system clipboard. QML has no clipboard of its own; a text edit's copy() writes to it.
Item {
    function copyText(text) {
        edit.text = text
        edit.selectAll()
        edit.copy()
        edit.clear()
    }

    visible: false

    TextEdit {
        id: edit
        textFormat: TextEdit.PlainText
    }
}
