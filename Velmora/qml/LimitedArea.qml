import QtQuick
import QtQuick.Controls
import Velmora

// The multi-line form of LimitedField: the owner keeps each edit to its length and the
// editor shows what was kept.
TextArea {
    id: area
    property string value
    signal edited(string text)

    textFormat: TextEdit.PlainText
    wrapMode: TextEdit.Wrap
    selectByMouse: true
    color: Style.text
    background: Rectangle {
        color: Style.surface
        border.color: area.activeFocus ? Style.accent : Style.separator
        radius: 4
    }
    Component.onCompleted: text = value
    onValueChanged: if (text !== value) text = value
    onTextChanged: {
        if (text === value)
            return
        area.edited(text)
        if (text !== value) {
            const at = Math.min(cursorPosition, value.length)
            text = value
            cursorPosition = at
        }
    }
}
