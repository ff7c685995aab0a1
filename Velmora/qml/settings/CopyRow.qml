import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora

// One way to copy a secret: its label and hint, the value as selectable fixed-width text,
// and a copy button that remembers it was pressed while the row lives.
ColumnLayout {
    id: row
    property string label
    property string hint
    property string value
    property bool copied: false
    signal copyRequested(string value)
    spacing: 2

    RowLayout {
        Layout.fillWidth: true
        Label {
            text: row.label
            font.weight: Font.DemiBold
        }
        Label {
            text: row.hint
            color: Style.secondaryText
            font.pixelSize: Style.smallFont
            Layout.fillWidth: true
            elide: Text.ElideRight
        }
    }
    RowLayout {
        Layout.fillWidth: true
        spacing: Style.spacing
        TextField {
            objectName: "copyValue"
            Layout.fillWidth: true
            readOnly: true
            selectByMouse: true
            text: row.value
            font.family: "monospace"
            // The start of a long URL says what it is; the rest scrolls.
            onTextChanged: cursorPosition = 0
            Accessible.name: row.label
        }
        Button {
            objectName: "copyButton"
            text: row.copied ? "Copied" : "Copy"
            Accessible.name: (row.copied ? "Copied " : "Copy ") + row.label
            onClicked: {
                row.copyRequested(row.value)
                row.copied = true
            }
        }
    }
}
