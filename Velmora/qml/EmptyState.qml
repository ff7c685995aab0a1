import QtQuick
import QtQuick.Controls
import QtQuick.Controls.impl
import Velmora

// What a list or pane shows when it has nothing: a quiet icon, a title, a line of help and,
// when there's something to do about it, one button.
Item {
    id: empty
    property string title: ""
    property string description: ""
    // Empty: no button.
    property string buttonText: ""
    property url iconSource
    signal buttonClicked()

    implicitWidth: 320
    implicitHeight: column.implicitHeight

    Column {
        id: column
        width: Math.min(parent.width, 320)
        anchors.centerIn: parent
        spacing: 6

        IconImage {
            visible: empty.iconSource.toString() !== ""
            anchors.horizontalCenter: parent.horizontalCenter
            width: 36
            height: 36
            sourceSize: Qt.size(36, 36)
            source: empty.iconSource
            color: Style.secondaryText
            opacity: 0.7
        }
        Item { width: 1; height: 2 }
        Text {
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            text: empty.title
            textFormat: Text.PlainText
            wrapMode: Text.WordWrap
            color: Style.text
            font.pixelSize: Style.bodyFont + 2
            font.weight: Font.DemiBold
        }
        Text {
            visible: text.length > 0
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            text: empty.description
            textFormat: Text.PlainText
            wrapMode: Text.WordWrap
            color: Style.secondaryText
            font.pixelSize: Style.bodyFont
        }
        Item { width: 1; height: 6; visible: action.visible }
        Button {
            id: action
            objectName: "emptyStateButton"
            visible: empty.buttonText.length > 0
            anchors.horizontalCenter: parent.horizontalCenter
            text: empty.buttonText
            leftPadding: 14
            rightPadding: 14
            onClicked: empty.buttonClicked()
            contentItem: Text {
                text: action.text
                horizontalAlignment: Text.AlignHCenter
                verticalAlignment: Text.AlignVCenter
                color: Style.text
                font.pixelSize: Style.bodyFont
            }
            background: Rectangle {
                implicitHeight: 28
                radius: 6
                color: action.down ? Style.controlHover : action.hovered ? Style.chipHover
                                                                        : Style.chipFill
                border.width: action.visualFocus ? 1.5 : 0
                border.color: Style.accent
            }
        }
    }
}
