import QtQuick
import QtQuick.Controls
import Velmora
import ".."

// One of the filter bar's toggles: a pill with the title and, when there is one, the count
// after it. `clicked` is the button's own signal.
AbstractButton {
    id: chip
    property string title: ""
    // -1: no count.
    property int count: -1
    property bool selected: false
    property string toolTipText: ""
    property string accessibleName: ""

    hoverEnabled: true
    leftPadding: 11
    rightPadding: 11
    implicitWidth: leftPadding + titleText.implicitWidth
                   + (count >= 0 ? 5 + countText.implicitWidth : 0) + rightPadding
    implicitHeight: 24
    Accessible.role: Accessible.Button
    Accessible.name: accessibleName.length > 0 ? accessibleName : title
    Accessible.checkable: true
    Accessible.checked: selected
    ToolTip.visible: hovered && toolTipText.length > 0
    ToolTip.delay: 600
    ToolTip.text: toolTipText

    background: Rectangle {
        radius: height / 2
        color: chip.selected ? Style.chipSelectedFill : chip.hovered ? Style.chipHover
                                                                     : Style.chipFill
        border.width: chip.visualFocus ? 2 : 0
        border.color: chip.selected ? Style.text : Style.accent
    }
    contentItem: Item {
        Text {
            id: titleText
            anchors.verticalCenter: parent.verticalCenter
            text: chip.title
            textFormat: Text.PlainText
            color: chip.selected ? Style.chipSelectedText : Style.chipText
            font.pixelSize: Style.smallFont + 1
            font.weight: Font.Medium
        }
        Text {
            id: countText
            visible: chip.count >= 0
            x: titleText.implicitWidth + 5
            anchors.verticalCenter: parent.verticalCenter
            text: chip.count
            color: chip.selected ? Style.chipSelectedText : Style.chipCount
            opacity: chip.selected ? 0.8 : 1
            font.pixelSize: Style.smallFont + 1
        }
    }
}
