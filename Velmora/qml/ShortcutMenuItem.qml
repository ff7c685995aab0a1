import QtQuick
import QtQuick.Controls
import Velmora

// A menu entry that shows its action's keys at its right, as desktop menus do.
MenuItem {
    id: control

    contentItem: Item {
        readonly property real indicatorPadding: control.checkable && control.indicator
                                                 ? control.indicator.width + control.spacing : 0
        readonly property real arrowPadding: control.subMenu && control.arrow
                                             ? control.arrow.width + control.spacing : 0
        readonly property color ink: control.highlighted ? control.palette.highlightedText
                                                         : control.palette.text
        implicitWidth: indicatorPadding + label.implicitWidth + arrowPadding
                       + (keyLabel.text.length > 0 ? keyLabel.implicitWidth + 28 : 0)
        implicitHeight: label.implicitHeight
        Label {
            id: label
            x: parent.indicatorPadding
            anchors.verticalCenter: parent.verticalCenter
            text: control.text
            font: control.font
            color: parent.ink
            opacity: control.enabled ? 1 : 0.5
        }
        Label {
            id: keyLabel
            objectName: "menuKeys"
            anchors.right: parent.right
            anchors.rightMargin: parent.arrowPadding
            anchors.verticalCenter: parent.verticalCenter
            text: control.action && control.action.shortcut
                  ? app.shortcutText(control.action.shortcut) : ""
            font: control.font
            color: parent.ink
            opacity: control.enabled ? 0.7 : 0.4
        }
    }
}
