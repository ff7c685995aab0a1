import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora

// One choice among a few, all in view: a row of buttons, the current one highlighted.
// `choices` are {value, label}; picking one says so through `chosen` and the owner sets
// `current`.
RowLayout {
    id: picker
    property var choices: []
    property string current
    property string title
    property string hint
    signal chosen(string value)

    spacing: 0
    Accessible.role: Accessible.Grouping
    Accessible.name: title
    Accessible.description: hint

    HoverHandler { id: hover }
    ToolTip.visible: hint !== "" && hover.hovered
    ToolTip.delay: 600
    ToolTip.text: hint

    Repeater {
        model: picker.choices
        delegate: Button {
            id: segment
            required property var modelData
            objectName: picker.objectName + "-" + modelData.value
            text: modelData.label
            highlighted: modelData.value === picker.current
            background: Rectangle {
                implicitWidth: 64
                implicitHeight: 24
                color: segment.highlighted ? Style.accent
                     : segment.down || segment.hovered ? Style.hover : Style.surface
                border.color: segment.visualFocus ? Style.accent : Style.separator
                radius: 3
            }
            contentItem: Label {
                text: segment.text
                font: segment.font
                color: segment.highlighted ? Style.accentText : Style.text
                horizontalAlignment: Text.AlignHCenter
                verticalAlignment: Text.AlignVCenter
            }
            Accessible.name: modelData.label
            Accessible.checkable: true
            Accessible.checked: highlighted
            onClicked: picker.chosen(modelData.value)
        }
    }
}
