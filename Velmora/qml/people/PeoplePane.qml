import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import Velmora.People
import ".."

// The people the user is connected with: a name first, then invitations and the list.
ScrollView {
    id: pane
    objectName: "peoplePane"
    property alias model: people
    contentWidth: availableWidth
    clip: true

    PeoplePaneModel {
        id: people
        store: app.store
    }

    // A link opened on this computer fills the code field, once.
    function takeLinkCode() {
        if (app.router.invitationCode !== "")
            people.typedCode = app.router.takeInvitationCode()
    }
    Component.onCompleted: takeLinkCode()
    Connections {
        target: app.router
        function onInvitationCodeChanged() { pane.takeLinkCode() }
    }

    component Caption: Label {
        font.pixelSize: Style.smallFont
        font.weight: Font.DemiBold
        color: Style.secondaryText
        Layout.topMargin: Style.padding
    }
    component Borderless: Button {
        flat: true
        Accessible.name: text
    }

    ColumnLayout {
        width: pane.availableWidth
        spacing: Style.spacing

        Label {
            objectName: "peopleTitle"
            text: "People"
            font.pixelSize: Style.titleFont
            font.weight: Font.DemiBold
        }
        Label {
            Layout.fillWidth: true
            wrapMode: Text.WordWrap
            color: Style.secondaryText
            text: "People you can send things to. They see the name you choose here — not your email, not your list, not anything else."
        }

        Label {
            objectName: "peopleLoadFailed"
            visible: people.stage === "failed"
            text: "Couldn't load people."
            color: Style.secondaryText
        }

        // The name prompt, alone until a name is chosen.
        ColumnLayout {
            objectName: "namePrompt"
            visible: people.stage === "name"
            Layout.fillWidth: true
            Layout.topMargin: Style.padding
            spacing: Style.spacing
            Label {
                text: "What should people call you?"
                font.weight: Font.DemiBold
            }
            Label {
                Layout.fillWidth: true
                wrapMode: Text.WordWrap
                color: Style.secondaryText
                text: "This is the name the people you connect with will see. It does not have to be unique, and you can change it whenever you like."
            }
            RowLayout {
                Layout.fillWidth: true
                TextField {
                    objectName: "promptNameField"
                    Layout.fillWidth: true
                    placeholderText: "Your name"
                    Accessible.name: "Your name"
                    text: people.nameField
                    onTextEdited: people.nameField = text
                    onAccepted: if (people.canSavePrompt) people.saveName()
                }
                Button {
                    objectName: "promptSave"
                    text: "Save"
                    Accessible.name: text
                    highlighted: true
                    enabled: people.canSavePrompt
                    onClicked: people.saveName()
                }
            }
        }

        ColumnLayout {
            objectName: "peopleBody"
            visible: people.stage === "full"
            Layout.fillWidth: true
            spacing: Style.spacing

            // The invite block.
            Button {
                objectName: "inviteButton"
                visible: !people.hasMinted
                text: "Invite someone"
                Accessible.name: text
                enabled: !people.busy
                Layout.topMargin: Style.padding
                onClicked: people.mint()
            }
            Rectangle {
                objectName: "inviteCard"
                visible: people.hasMinted
                Layout.fillWidth: true
                Layout.topMargin: Style.padding
                implicitHeight: card.implicitHeight + 2 * Style.padding
                color: Style.surface
                border.color: Style.separator
                radius: Style.radius
                ColumnLayout {
                    id: card
                    anchors.fill: parent
                    anchors.margins: Style.padding
                    spacing: Style.spacing
                    Label {
                        text: "Send this to them"
                        font.weight: Font.DemiBold
                    }
                    TextEdit {
                        objectName: "inviteMessage"
                        Layout.fillWidth: true
                        text: people.inviteMessage
                        textFormat: TextEdit.PlainText
                        readOnly: true
                        selectByMouse: true
                        wrapMode: TextEdit.Wrap
                        color: Style.text
                        selectionColor: Style.selection
                        selectedTextColor: Style.text
                        font.pixelSize: Style.bodyFont
                        Accessible.name: "Invitation message"
                    }
                    RowLayout {
                        Layout.fillWidth: true
                        Button {
                            objectName: "copyInvitation"
                            text: people.copyLabel
                            Accessible.name: text
                            onClicked: people.copyInvitation()
                        }
                        TextEdit {
                            objectName: "mintedCode"
                            text: people.mintedCode
                            textFormat: TextEdit.PlainText
                            readOnly: true
                            selectByMouse: true
                            color: Style.secondaryText
                            selectionColor: Style.selection
                            font.pixelSize: Style.smallFont
                            font.family: "monospace"
                            Accessible.name: "Invitation code"
                        }
                        Item { Layout.fillWidth: true }
                    }
                    Label {
                        text: people.worksOnce
                        color: Style.secondaryText
                        font.pixelSize: Style.smallFont
                    }
                }
            }
            RowLayout {
                Layout.fillWidth: true
                TextField {
                    objectName: "codeField"
                    Layout.fillWidth: true
                    placeholderText: "Enter a code"
                    Accessible.name: "Enter a code"
                    text: people.typedCode
                    onTextEdited: people.typedCode = text
                    onAccepted: if (people.canConnect) people.redeem()
                }
                Button {
                    objectName: "connectButton"
                    text: "Connect"
                    Accessible.name: text
                    enabled: people.canConnect
                    onClicked: people.redeem()
                }
            }
            Label {
                objectName: "peopleRefusal"
                visible: people.refusal !== ""
                Layout.fillWidth: true
                wrapMode: Text.WordWrap
                text: people.refusal
                textFormat: Text.PlainText
                color: Style.warning
            }

            // The people.
            Caption { text: "PEOPLE" }
            Label {
                objectName: "peopleEmpty"
                visible: people.people.length === 0
                Layout.fillWidth: true
                wrapMode: Text.WordWrap
                color: Style.secondaryText
                text: "Nobody yet. Invite someone and you will be able to send things to each other."
            }
            Repeater {
                model: people.people
                delegate: RowLayout {
                    objectName: "personRow"
                    required property var modelData
                    Layout.fillWidth: true
                    ColumnLayout {
                        Layout.fillWidth: true
                        spacing: 0
                        Label {
                            Layout.fillWidth: true
                            elide: Text.ElideRight
                            text: modelData.name
                            textFormat: Text.PlainText
                        }
                        Label {
                            Layout.fillWidth: true
                            elide: Text.ElideRight
                            text: modelData.line
                            textFormat: Text.PlainText
                            color: Style.secondaryText
                            font.pixelSize: Style.smallFont
                        }
                    }
                    Borderless {
                        text: "Remove"
                        Accessible.description: modelData.name
                        onClicked: people.askRemove(modelData.id)
                    }
                }
            }

            // The invitations still out.
            Caption {
                visible: people.invites.length > 0
                text: "INVITES OUT"
            }
            Repeater {
                model: people.invites
                delegate: RowLayout {
                    objectName: "inviteRow"
                    required property var modelData
                    Layout.fillWidth: true
                    Label {
                        Layout.fillWidth: true
                        text: modelData.line
                        textFormat: Text.PlainText
                    }
                    Borderless {
                        text: "Cancel"
                        onClicked: people.cancel(modelData.hash)
                    }
                }
            }

            // The name block.
            Caption { text: "The name people see" }
            RowLayout {
                Layout.fillWidth: true
                TextField {
                    objectName: "nameField"
                    Layout.fillWidth: true
                    placeholderText: "Your name"
                    Accessible.name: "Your name"
                    text: people.nameField
                    onTextEdited: people.nameField = text
                    onAccepted: if (!people.busy) people.saveName()
                }
                Button {
                    objectName: "nameSave"
                    text: "Save"
                    Accessible.name: text
                    enabled: !people.busy
                    onClicked: people.saveName()
                }
            }
        }
        Item { Layout.fillHeight: true }
    }

    AlertDialog {
        objectName: "removeAlert"
        parent: Overlay.overlay
        wanted: people.confirmRemoveTitle !== ""
        title: people.confirmRemoveTitle
        message: "It ends for both of you. Either of you can invite the other again."
        onClosed: if (people.confirmRemoveTitle !== "") people.keep()
        Button {
            text: "Keep"
            Accessible.name: text
            onClicked: people.keep()
        }
        Button {
            objectName: "confirmRemove"
            text: "Remove"
            Accessible.name: text
            palette.buttonText: Style.destructive
            onClicked: people.remove()
        }
    }
}
