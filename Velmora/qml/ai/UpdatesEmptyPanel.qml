import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import Velmora.Forms
import ".."

// The Updates tab with nothing waiting: where suggestions come from and how to get some.
Item {
    id: panel
    objectName: "updatesEmpty"
    signal setUp()
    signal people()

    ColumnLayout {
        anchors.centerIn: parent
        width: Math.min(parent.width - 2 * Style.padding, 340)
        spacing: Style.spacing
        EmptyState {
            Layout.fillWidth: true
            title: HelpPages.updatesWords.emptyTitle
            description: HelpPages.updatesWords.emptyBody
            iconSource: "qrc:/velmora/icons/inbox.svg"
        }
        Button {
            objectName: "connectClaude"
            Accessible.name: text
            Layout.alignment: Qt.AlignHCenter
            text: "Connect Claude with MCP"
            highlighted: true
            onClicked: panel.setUp()
        }
        Button {
            objectName: "connectSomeone"
            Accessible.name: text
            Layout.alignment: Qt.AlignHCenter
            text: HelpPages.updatesWords.emptyPeopleButton
            onClicked: panel.people()
        }
    }
}
