import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import Velmora.People
import ".."

// Sends one task to a connected person. Opens from the item's "Send to…"; the people load
// each time it opens, and the first of them is chosen.
Popup {
    id: popover
    objectName: "sendPopover"
    property alias itemId: send.itemId
    property alias store: send.store
    property alias model: send
    signal sent()

    width: 300
    modal: true
    focus: true
    padding: Style.padding
    onOpened: send.load()
    background: Rectangle {
        color: Style.surface
        border.color: Style.separator
        radius: Style.radius
    }

    SendTaskModel {
        id: send
        onSent: {
            popover.close()
            popover.sent()
        }
    }

    contentItem: ColumnLayout {
        spacing: Style.spacing
        Label {
            objectName: "sendNobody"
            visible: send.loaded && send.people.length === 0
            Layout.fillWidth: true
            wrapMode: Text.WordWrap
            color: Style.secondaryText
            text: "Nobody yet. Invite someone and you will be able to send things to each other."
        }
        ColumnLayout {
            visible: send.loaded && send.people.length > 0
            Layout.fillWidth: true
            spacing: Style.spacing
            Label {
                text: "Send to"
                font.weight: Font.DemiBold
            }
            ComboBox {
                objectName: "sendPicker"
                Layout.fillWidth: true
                Accessible.name: "Send to"
                model: send.people
                textRole: "name"
                valueRole: "id"
                currentIndex: send.chosenIndex
                onActivated: index => send.chosen = currentValue
            }
            TextField {
                objectName: "sendMessage"
                Layout.fillWidth: true
                placeholderText: "Why, in one line (optional)"
                Accessible.name: placeholderText
                text: send.message
                onTextEdited: send.message = text
                onAccepted: if (send.canSend) send.send()
            }
            Label {
                Layout.fillWidth: true
                wrapMode: Text.WordWrap
                color: Style.secondaryText
                font.pixelSize: Style.smallFont
                text: "It waits on their Updates until they accept. Your copy stays here, in Waiting."
            }
            Label {
                objectName: "sendRefusal"
                visible: send.refusal !== ""
                Layout.fillWidth: true
                wrapMode: Text.WordWrap
                text: send.refusal
                textFormat: Text.PlainText
                color: Style.warning
            }
            Button {
                objectName: "sendButton"
                Layout.alignment: Qt.AlignRight
                text: "Send"
                Accessible.name: text
                highlighted: true
                enabled: send.canSend
                onClicked: send.send()
            }
        }
    }
}
