import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import ".."

// One token: its name, "THIS COMPUTER" for the one in use, when it was made and last used;
// the trash icon while the pointer is over it, and the same action in its context menu.
Rectangle {
    id: row
    property var token
    property string revokeLabel
    signal revoke()
    implicitHeight: content.implicitHeight + Style.spacing * 2
    radius: Style.rowRadius
    color: hover.hovered ? Style.hover : "transparent"
    Accessible.role: Accessible.ListItem
    Accessible.name: token?.name ?? ""

    HoverHandler { id: hover }
    TapHandler {
        acceptedButtons: Qt.RightButton
        onTapped: menu.popup()
    }
    Menu {
        id: menu
        MenuItem {
            text: row.revokeLabel
            onTriggered: row.revoke()
        }
    }

    RowLayout {
        id: content
        anchors.fill: parent
        anchors.margins: Style.spacing
        spacing: Style.spacing
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2
            RowLayout {
                spacing: Style.spacing
                Label {
                    text: row.token?.name ?? ""
                    textFormat: Text.PlainText
                    font.weight: Font.DemiBold
                    elide: Text.ElideRight
                    Layout.maximumWidth: 360
                }
                Label {
                    objectName: "thisComputer"
                    visible: row.token?.current ?? false
                    text: "THIS COMPUTER"
                    font.pixelSize: Style.smallFont
                    font.letterSpacing: 0.8
                    color: Style.accent
                }
            }
            Label {
                text: row.token?.subtitle ?? ""
                color: Style.secondaryText
                font.pixelSize: Style.smallFont
            }
        }
        IconButton {
            objectName: "revokeButton"
            // Kept in the layout, so the row doesn't shift as the pointer comes and goes.
            opacity: hover.hovered || activeFocus ? 1 : 0
            iconSource: "qrc:/velmora/icons/close.svg"
            toolTipText: row.revokeLabel === "Revoke" ? "Revoke this connection" : "Sign this device out"
            onClicked: row.revoke()
        }
    }
}
