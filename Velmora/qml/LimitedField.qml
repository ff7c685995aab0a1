import QtQuick
import QtQuick.Controls

// A text field over a value its owner holds to a length. Each edit goes to the owner, and
// the field then shows what the owner kept, so a paste past the limit is cut off there.
TextField {
    id: field
    property string value
    signal edited(string text)
    property bool editing: false

    Accessible.name: placeholderText
    selectByMouse: true
    // A value from outside opens at its start, where a long title begins.
    Component.onCompleted: {
        text = value
        cursorPosition = 0
    }
    onValueChanged: if (!editing && text !== value) {
        text = value
        cursorPosition = 0
    }
    onTextEdited: {
        editing = true
        field.edited(text)
        editing = false
        if (text !== value) {
            const at = Math.min(cursorPosition, value.length)
            text = value
            cursorPosition = at
        }
    }
}
