import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import Velmora.Connections
import ".."

// The agent and device connections, with the sample prompts (`app.router.connectionsAnchor`
// "prompts" scrolls to them) and the way to the account's deletion.
ScrollView {
    id: screen
    objectName: "connectionsScreen"
    property alias model: connections
    contentWidth: availableWidth
    clip: true

    ConnectionsModel {
        id: connections
        store: app.store
        Component.onCompleted: reload()
    }

    function scrollToAnchor() {
        if (app.router.connectionsAnchor === "prompts")
            Qt.callLater(() => screen.contentItem.contentY = Math.max(0, promptsPanel.y))
    }
    Component.onCompleted: scrollToAnchor()
    Connections {
        target: app.router
        function onConnectionsAnchorChanged() { screen.scrollToAnchor() }
    }

    ColumnLayout {
        width: screen.availableWidth
        spacing: Style.spacing * 2

        RowLayout {
            Layout.fillWidth: true
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 2
                Label {
                    objectName: "screenTitle"
                    text: "Connections"
                    font.pixelSize: Style.titleFont
                    font.weight: Font.DemiBold
                }
                Label {
                    Layout.fillWidth: true
                    wrapMode: Text.WordWrap
                    color: Style.secondaryText
                    text: "Your AI agent, your devices — each gets its own token, so losing one costs a single revoke."
                }
            }
            IconButton {
                Layout.alignment: Qt.AlignTop
                text: "Manage on the web…"
                toolTipText: "The website adds a data export"
                onClicked: Qt.openUrlExternally(connections.webConnections)
            }
        }

        Label {
            objectName: "loadFailed"
            visible: connections.loadFailed
            Layout.fillWidth: true
            wrapMode: Text.WordWrap
            color: Style.warning
            text: "Couldn't load connections — check the network and reopen."
        }
        Label {
            objectName: "revokeFailed"
            visible: text.length > 0
            Layout.fillWidth: true
            wrapMode: Text.WordWrap
            textFormat: Text.PlainText
            color: Style.warning
            text: connections.revokeFailed
        }

        // --- agents ---
        ColumnLayout {
            Layout.fillWidth: true
            spacing: Style.spacing
            Label {
                objectName: "tokensTitle"
                text: connections.tokensTitle
                font.pixelSize: Style.bodyFont + 2
                font.weight: Font.DemiBold
            }
            Label {
                Layout.fillWidth: true
                wrapMode: Text.WordWrap
                color: Style.secondaryText
                text: "This is what an AI agent uses to reach your list — create a connection named for it and paste its Connection URL wherever your agent takes a custom connector. The URL and token are shown once, when you generate them, and never again."
            }
            Repeater {
                model: connections.tokens
                ConnectionRow {
                    objectName: "tokenRow" + index
                    Layout.fillWidth: true
                    token: modelData
                    revokeLabel: "Revoke"
                    onRevoke: connections.askRevoke(modelData.hash)
                }
            }
            RowLayout {
                Layout.fillWidth: true
                visible: !connections.atCap
                spacing: Style.spacing
                TextField {
                    objectName: "newConnectionName"
                    Layout.fillWidth: true
                    placeholderText: "Name a new connection — “My AI”, “iPad”…"
                    Accessible.name: "Name a new connection"
                    text: connections.newName
                    onTextEdited: connections.newName = text
                    onAccepted: if (connections.canMint) connections.mint()
                }
                Button {
                    objectName: "generateToken"
                    text: "Generate token"
                    Accessible.name: text
                    enabled: connections.canMint
                    onClicked: connections.mint()
                }
            }
            Label {
                objectName: "mintFailed"
                visible: !connections.atCap && text.length > 0
                Layout.fillWidth: true
                wrapMode: Text.WordWrap
                textFormat: Text.PlainText
                color: Style.warning
                text: connections.mintFailed
            }
            Label {
                objectName: "capMessage"
                visible: connections.atCap
                Layout.fillWidth: true
                wrapMode: Text.WordWrap
                color: Style.secondaryText
                text: connections.capMessage
            }
        }

        // --- devices ---
        ColumnLayout {
            Layout.fillWidth: true
            spacing: Style.spacing
            Label {
                objectName: "devicesTitle"
                text: connections.devicesTitle
                font.pixelSize: Style.bodyFont + 2
                font.weight: Font.DemiBold
            }
            Label {
                Layout.fillWidth: true
                wrapMode: Text.WordWrap
                color: Style.secondaryText
                text: "The iPhone, iPad and computer apps appear here once you sign in on them. Signing one out revokes it — that device asks for a sign-in next time. The website needs no slot."
            }
            Label {
                visible: connections.devices.length === 0
                color: Style.secondaryText
                text: "No devices signed in yet."
            }
            Repeater {
                model: connections.devices
                ConnectionRow {
                    objectName: "deviceRow" + index
                    Layout.fillWidth: true
                    token: modelData
                    revokeLabel: "Sign out"
                    onRevoke: connections.askRevoke(modelData.hash)
                }
            }
        }

        SamplePromptsPanel {
            id: promptsPanel
            objectName: "samplePrompts"
            Layout.fillWidth: true
        }

        // --- account ---
        ColumnLayout {
            Layout.fillWidth: true
            spacing: Style.spacing
            Label {
                text: "Delete account"
                font.pixelSize: Style.bodyFont + 2
                font.weight: Font.DemiBold
            }
            Label {
                Layout.fillWidth: true
                wrapMode: Text.WordWrap
                color: Style.secondaryText
                text: "This ends the account itself, not just this computer’s sign-in: every item, rule and connection on it is erased everywhere, and it cannot be undone. It happens on the website, where you can take a copy of your data first."
            }
            IconButton {
                text: "Delete my account on the web…"
                toolTipText: connections.webDeleteAccount
                onClicked: Qt.openUrlExternally(connections.webDeleteAccount)
            }
        }
    }

    MintedSheet {
        objectName: "mintedSheet"
        parent: Overlay.overlay
        model: connections
    }

    AlertDialog {
        objectName: "revokeDialog"
        parent: Overlay.overlay
        wanted: connections.confirming
        title: connections.confirmTitle
        message: connections.confirmMessage
        onClosed: connections.cancelRevoke()
        Button {
            objectName: "cancelRevoke"
            text: "Cancel"
            onClicked: connections.cancelRevoke()
        }
        Button {
            objectName: "confirmRevoke"
            text: connections.confirmButton
            onClicked: connections.confirmRevoke()
        }
    }
}
