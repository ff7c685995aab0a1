import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora

// The welcome, shown once per account over the connected window.
Popup {
    id: sheet
    property string briefingsLabel: "the Briefing pane"
    property bool wanted: false
    signal dismissed()

    parent: Overlay.overlay
    anchors.centerIn: parent
    width: 420
    modal: true
    focus: true
    closePolicy: Popup.CloseOnEscape
    padding: Style.padding * 2
    onWantedChanged: wanted ? open() : close()
    Component.onCompleted: if (wanted) open()
    onClosed: if (wanted) dismissed()

    background: Rectangle {
        color: Style.surface
        radius: Style.radius + 4
        border.width: 1
        border.color: Style.separator
    }

    contentItem: ColumnLayout {
        spacing: Style.spacing + 4
        Accessible.role: Accessible.Dialog
        Accessible.name: "Welcome to Velmora"
        Label {
            text: "Welcome to Velmora"
            font.pixelSize: Style.titleFont + 2
            font.weight: Font.DemiBold
        }
        Label {
            text: "We have put a few sample tasks in your list so there is something to look at. They show the three sections — what you owe a move on, what you are waiting on from someone else, and what is just worth knowing."
            wrapMode: Text.WordWrap
            Layout.fillWidth: true
        }
        Label {
            text: "You also have one free AI credit. Open " + sheet.briefingsLabel + " and have Claude generate a briefing from those samples: it reads the whole list and tells you what is urgent, who has gone quiet, and what has stopped mattering."
            wrapMode: Text.WordWrap
            Layout.fillWidth: true
        }
        Label {
            text: "Then delete the samples and put your own in. Deleting them is the tutorial — they never come back."
            wrapMode: Text.WordWrap
            Layout.fillWidth: true
        }
        Button {
            objectName: "welcomeDone"
            text: "Got it"
            Accessible.name: text
            highlighted: true
            focus: true
            Layout.alignment: Qt.AlignRight
            onClicked: sheet.dismissed()
            Keys.onReturnPressed: sheet.dismissed()
        }
    }
}
