import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora

// One choice among a few, all in view: a row of buttons, the current one highlighted.
// `choices` are {value, label}; picking one says so through `chosen` and the owner sets
// `current`. A choice with a `badge` above 0 shows that count beside its label.
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
            readonly property int badge: modelData.badge || 0
            contentItem: Item {
                implicitWidth: segmentRow.implicitWidth
                implicitHeight: segmentRow.implicitHeight
                Row {
                    id: segmentRow
                    anchors.centerIn: parent
                    spacing: 5
                    Label {
                        anchors.verticalCenter: parent.verticalCenter
                        text: segment.text
                        font: segment.font
                        color: segment.highlighted ? Style.accentText : Style.text
                    }
                    Rectangle {
                        objectName: "badge"
                        visible: segment.badge > 0
                        anchors.verticalCenter: parent.verticalCenter
                        width: Math.max(height, badgeText.implicitWidth + 8)
                        height: badgeText.implicitHeight + 2
                        radius: height / 2
                        color: segment.highlighted ? Style.accentText : Style.accent
                        Label {
                            id: badgeText
                            anchors.centerIn: parent
                            text: segment.badge
                            font.pixelSize: Style.smallFont
                            font.weight: Font.DemiBold
                            color: segment.highlighted ? Style.accent : Style.accentText
                        }
                    }
                }
            }
            Accessible.name: badge > 0 ? modelData.label + ", " + badge + " waiting" : modelData.label
            Accessible.checkable: true
            Accessible.checked: highlighted
            onClicked: picker.chosen(modelData.value)
        }
    }
}
