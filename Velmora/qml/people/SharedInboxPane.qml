import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import Velmora.People
import ".."

// Tasks from people, over the Updates tab: nothing at all while none waits.
ColumnLayout {
    id: block
    objectName: "sharedInbox"
    property alias model: inbox
    visible: inbox.shown
    spacing: Style.spacing

    SharedInboxModel {
        id: inbox
        store: app.store
    }

    component ShareRow: Rectangle {
        id: row
        required property var modelData
        readonly property var entry: modelData
        property string accept
        property string decline
        signal accepted()
        signal declined()
        readonly property bool working: inbox.busyId === entry.id
        Layout.fillWidth: true
        implicitHeight: rowLayout.implicitHeight + 2 * Style.spacing
        color: Style.surface
        border.color: Style.separator
        radius: Style.rowRadius
        enabled: !working
        opacity: working ? 0.6 : 1
        RowLayout {
            id: rowLayout
            anchors.fill: parent
            anchors.margins: Style.spacing
            anchors.leftMargin: Style.padding
            spacing: Style.spacing
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 0
                Label {
                    Layout.fillWidth: true
                    elide: Text.ElideRight
                    text: row.entry.title
                    textFormat: Text.PlainText
                    // A title cut short shows whole over the row.
                    HoverHandler { id: titleHover }
                    ToolTip.visible: truncated && titleHover.hovered
                    ToolTip.delay: 800
                    ToolTip.text: text
                }
                Label {
                    Layout.fillWidth: true
                    wrapMode: Text.WordWrap
                    maximumLineCount: 3
                    elide: Text.ElideRight
                    text: row.entry.line
                    textFormat: Text.PlainText
                    color: Style.secondaryText
                    font.pixelSize: Style.smallFont
                }
            }
            Button {
                objectName: "declineShared"
                flat: true
                text: row.decline
                Accessible.name: text
                Accessible.description: row.entry.title
                onClicked: row.declined()
            }
            Button {
                objectName: "acceptShared"
                highlighted: true
                text: row.accept
                Accessible.name: text
                Accessible.description: row.entry.title
                onClicked: row.accepted()
            }
        }
    }

    Label {
        text: "FROM PEOPLE"
        font.pixelSize: Style.smallFont
        font.weight: Font.DemiBold
        color: Style.secondaryText
    }
    Label {
        objectName: "inboxRefusal"
        visible: inbox.refusal !== ""
        Layout.fillWidth: true
        wrapMode: Text.WordWrap
        text: inbox.refusal
        textFormat: Text.PlainText
        color: Style.warning
    }
    Repeater {
        model: inbox.incoming
        delegate: ShareRow {
            objectName: "incomingRow"
            accept: "Accept"
            decline: "Decline"
            onAccepted: inbox.accept(modelData.id)
            onDeclined: inbox.decline(modelData.id)
        }
    }
    Repeater {
        model: inbox.returned
        delegate: ShareRow {
            objectName: "returnedRow"
            accept: "Mark it done"
            decline: "Not yet"
            onAccepted: inbox.answer(modelData.id, true)
            onDeclined: inbox.answer(modelData.id, false)
        }
    }
}
