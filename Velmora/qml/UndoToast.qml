import QtQuick
import QtQuick.Controls
import Velmora

// The bar at the bottom that offers to take the last change back. A click on the message,
// or Escape, puts it away early.
Rectangle {
    id: toast
    property string message: ""
    signal undo()
    signal dismissed()

    implicitWidth: Math.min(480, 16 + words.implicitWidth + 12 + undoButton.implicitWidth + 6)
    implicitHeight: 40
    radius: 10
    color: Style.toastFill
    Accessible.role: Accessible.AlertMessage
    Accessible.name: message
    Keys.onEscapePressed: toast.dismissed()

    MouseArea {
        anchors.fill: parent
        onClicked: toast.dismissed()
    }
    Text {
        id: words
        x: 16
        width: undoButton.x - x - 12
        anchors.verticalCenter: parent.verticalCenter
        text: toast.message
        textFormat: Text.PlainText
        elide: Text.ElideRight
        color: Style.toastText
        font.pixelSize: Style.bodyFont
    }
    AbstractButton {
        id: undoButton
        objectName: "undo"
        anchors.right: parent.right
        anchors.rightMargin: 6
        anchors.verticalCenter: parent.verticalCenter
        implicitWidth: undoText.implicitWidth + 24
        implicitHeight: 28
        hoverEnabled: true
        text: "Undo"
        Accessible.name: text
        onClicked: toast.undo()
        background: Rectangle {
            radius: 6
            color: undoButton.down || undoButton.hovered ? Style.toastActionHover : "transparent"
            border.width: undoButton.visualFocus ? 1.5 : 0
            border.color: Style.toastAction
        }
        contentItem: Text {
            id: undoText
            text: undoButton.text
            horizontalAlignment: Text.AlignHCenter
            verticalAlignment: Text.AlignVCenter
            color: Style.toastAction
            font.pixelSize: Style.bodyFont
            font.weight: Font.DemiBold
        }
    }
}
