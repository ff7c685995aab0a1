import QtQuick
import QtQuick.Controls
import QtQuick.Controls.impl
import Velmora

// A borderless button with a tinted icon and, after a moment's hover, a tooltip; the tooltip
// also names it for screen readers. While checked it can swap to a solid form of its icon.
ToolButton {
    id: control
    property url iconSource
    // The solid form shown while checked; the outline one when unset.
    property url solidIconSource
    property string toolTipText
    property color tint: Style.secondaryText
    property color checkedTint: Style.accent

    padding: 4
    spacing: 4
    hoverEnabled: true
    icon.source: checked && solidIconSource.toString() !== "" ? solidIconSource : iconSource
    icon.width: 16
    icon.height: 16
    icon.color: checked ? checkedTint : hovered ? Style.text : tint
    display: text.length > 0 ? AbstractButton.TextBesideIcon : AbstractButton.IconOnly

    // A labelled button is named by its label; the tooltip then describes it.
    Accessible.name: text.length > 0 ? text : toolTipText
    Accessible.description: text.length > 0 ? toolTipText : ""
    // A press puts the tooltip away until the pointer leaves and comes back, as desktop
    // toolkits do: it would otherwise stand over the menu or pane the click opened.
    property bool toolTipDismissed: false
    onPressed: toolTipDismissed = true
    onHoveredChanged: if (!hovered) toolTipDismissed = false
    ToolTip.visible: hovered && !toolTipDismissed && toolTipText.length > 0
    ToolTip.delay: 600
    ToolTip.text: toolTipText

    contentItem: IconLabel {
        spacing: control.spacing
        display: control.display
        icon: control.icon
        text: control.text
        font: control.font
        color: control.enabled ? Style.text : Style.secondaryText
    }
    background: Rectangle {
        implicitWidth: 24
        implicitHeight: 24
        radius: 6
        color: control.down ? Style.separator : control.hovered ? Style.controlHover : "transparent"
        border.width: control.visualFocus ? 1.5 : 0
        border.color: Style.accent
    }
}
