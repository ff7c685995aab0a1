import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import Velmora.Settings
import ".."

// The settings window's Account tab: who is connected here, and disconnecting this device.
ColumnLayout {
    id: tab
    objectName: "accountSettings"
    spacing: Style.spacing

    AccountSettingsModel {
        id: account
        store: app.store
    }

    GridLayout {
        visible: account.connected
        columns: 2
        columnSpacing: Style.spacing * 2
        rowSpacing: Style.spacing
        Label { text: "Name"; visible: account.name !== "" }
        Label {
            objectName: "accountName"
            visible: account.name !== ""
            text: account.name
            textFormat: Text.PlainText
        }
        Label { text: "E-mail"; visible: account.email !== "" }
        Label {
            objectName: "accountEmail"
            visible: account.email !== ""
            text: account.email
            textFormat: Text.PlainText
        }
        Label { text: "Status" }
        Label { objectName: "accountStatus"; text: "Connected"; color: Style.done }
        Label { text: "Last refreshed" }
        Label { objectName: "lastRefreshed"; text: account.lastRefreshed }
        Label { text: "Items" }
        Label { objectName: "itemCount"; text: account.items }
    }
    Button {
        objectName: "disconnectButton"
        visible: account.connected
        text: "Disconnect…"
        Accessible.name: "Disconnect"
        palette.buttonText: Style.destructive
        onClicked: confirm.wanted = true
        Layout.topMargin: Style.spacing
    }
    Label {
        visible: account.connected
        text: "Removes the token from your keyring. Nothing on the server changes — revoke the connection in the Connections window if you want it to stop working everywhere."
        color: Style.secondaryText
        font.pixelSize: Style.smallFont
        wrapMode: Text.WordWrap
        Layout.fillWidth: true
    }

    Label {
        visible: !account.connected
        text: "Not connected."
        font.weight: Font.DemiBold
    }
    Label {
        visible: !account.connected
        text: "Sign in with Apple or Google from the app's main window."
        color: Style.secondaryText
        wrapMode: Text.WordWrap
        Layout.fillWidth: true
    }

    Item { Layout.fillHeight: true }

    AlertDialog {
        id: confirm
        objectName: "disconnectConfirm"
        parent: Overlay.overlay
        title: "Disconnect this device?"
        message: "Sign in again to reconnect."
        onClosed: wanted = false
        Button {
            text: "Cancel"
            onClicked: confirm.wanted = false
        }
        Button {
            objectName: "confirmDisconnect"
            text: "Disconnect"
            palette.buttonText: Style.destructive
            onClicked: {
                confirm.wanted = false
                account.disconnectDevice()
            }
        }
    }
}
