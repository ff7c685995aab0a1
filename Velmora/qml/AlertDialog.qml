import QtQuick
import QtQuick.Controls
import Velmora

// A modal question or notice over the window: a title, a message and a row of buttons
// (the children). Shown while `wanted` holds; built from a plain Popup, whose height follows
// the wrapped message without the stock dialog's layout loops.
Popup {
    id: alert
    property string title
    property string message
    property bool wanted: false
    default property alias buttons: buttonRow.data

    anchors.centerIn: parent
    width: Math.max(260, Math.min((parent ? parent.width : 460) - 40, 460))
    padding: Style.padding * 1.5
    modal: true
    focus: true
    onWantedChanged: wanted ? open() : close()
    Component.onCompleted: if (wanted) open()

    background: Rectangle {
        color: Style.surface
        radius: Style.radius + 2
        border.width: 1
        border.color: Style.separator
    }

    contentItem: Column {
        Accessible.role: Accessible.AlertMessage
        Accessible.name: alert.title
        spacing: Style.spacing + 2
        Label {
            width: parent.width
            text: alert.title
            textFormat: Text.PlainText
            wrapMode: Text.WordWrap
            font.pixelSize: Style.bodyFont + 2
            font.weight: Font.DemiBold
        }
        Label {
            width: parent.width
            text: alert.message
            textFormat: Text.PlainText
            wrapMode: Text.WordWrap
            color: Style.text
        }
        Item {
            width: parent.width
            height: buttonRow.implicitHeight + Style.spacing
            Row {
                id: buttonRow
                anchors.right: parent.right
                anchors.bottom: parent.bottom
                spacing: Style.spacing
            }
        }
    }
}
