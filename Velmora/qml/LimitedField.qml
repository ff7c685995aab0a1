import QtQuick
import QtQuick.Controls

// A text field over a value its owner holds to a length. Each edit goes to the owner, and
// the field then shows what the owner kept, so a paste past the limit is cut off there.
TextField {
    id: field
    property string value
    signal edited(string text)

    Accessible.name: placeholderText
    selectByMouse: true
    Component.onCompleted: text = value
    onValueChanged: if (text !== value) text = value
    onTextEdited: {
        field.edited(text)
        if (text !== value) {
            const at = Math.min(cursorPosition, value.length)
            text = value
            cursorPosition = at
        }
    }
}
