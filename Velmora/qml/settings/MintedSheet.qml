import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora

// The new connection's secret, shown this once in three forms; "Done" drops it.
Popup {
    id: sheet
    property var model
    anchors.centerIn: parent
    width: Math.min((parent ? parent.width : 560) - 40, 560)
    padding: Style.padding * 1.5
    modal: true
    focus: true
    closePolicy: Popup.NoAutoClose
    visible: model?.mintedOpen ?? false

    background: Rectangle {
        color: Style.surface
        radius: Style.radius + 2
        border.width: 1
        border.color: Style.separator
    }

    contentItem: ColumnLayout {
        spacing: Style.spacing + 2
        Accessible.role: Accessible.Dialog
        Accessible.name: sheet.model?.mintedTitle ?? ""
        Label {
            objectName: "mintedTitle"
            Layout.fillWidth: true
            text: sheet.model?.mintedTitle ?? ""
            textFormat: Text.PlainText
            wrapMode: Text.WordWrap
            font.pixelSize: Style.bodyFont + 2
            font.weight: Font.DemiBold
        }
        Label {
            Layout.fillWidth: true
            wrapMode: Text.WordWrap
            text: "Copy what the connection needs — treat each like a password; anyone with it can read and change your list."
        }
        Label {
            Layout.fillWidth: true
            wrapMode: Text.WordWrap
            font.weight: Font.DemiBold
            text: "Copy one of these now — this is the only time you'll see it."
        }
        Label {
            Layout.fillWidth: true
            wrapMode: Text.WordWrap
            color: Style.secondaryText
            text: "We store only a fingerprint, so it can't be shown again. Treat it like a password. Lost it? Revoke this connection and create another."
        }
        Repeater {
            model: sheet.model?.mintedForms ?? []
            CopyRow {
                objectName: "copyRow" + index
                Layout.fillWidth: true
                label: modelData.label
                hint: modelData.hint
                value: modelData.value
                onCopyRequested: value => sheet.model.copy(value)
            }
        }
        Label {
            Layout.fillWidth: true
            wrapMode: Text.WordWrap
            color: Style.secondaryText
            font.pixelSize: Style.smallFont
            text: "All three carry the same secret. Prefer the separate token where a client offers the choice — a URL ends up in logs, a header does not."
        }
        Button {
            objectName: "mintedDone"
            Layout.alignment: Qt.AlignRight
            text: "Done"
            highlighted: true
            Accessible.name: text
            onClicked: sheet.model.closeMinted()
        }
        // "Done" is the default action.
        Shortcut {
            sequences: ["Return", "Enter"]
            enabled: sheet.visible
            onActivated: sheet.model.closeMinted()
        }
    }
}
