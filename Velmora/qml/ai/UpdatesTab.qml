import QtQuick
import QtQuick.Layouts
import Velmora
import "../agents"
import "../people"

// The Updates tab: tasks from people on top; then the review of the pending proposal, or what
// to do while none waits; the agent setup steps over either while they are open.
ColumnLayout {
    spacing: Style.padding

    SharedInboxPane {
        Layout.fillWidth: true
    }

    Loader {
        id: tab
        Layout.fillWidth: true
        Layout.fillHeight: true
        // An answer in flight keeps its review on screen until it has closed it.
        readonly property bool answering: item !== null && item.objectName === "reviewPane"
                                          && item.model.busy
        sourceComponent: app.router.aiSetupOpen ? setup
                       : mainWindow.hasProposal || answering ? review : empty

        Component {
            id: setup
            McpSetupHelpView {}
        }
        Component {
            id: review
            ReviewPane {
                onClosed: createdAt => mainWindow.deferProposalAt(createdAt)
            }
        }
        Component {
            id: empty
            UpdatesEmptyPanel {
                onSetUp: app.router.aiSetupOpen = true
                onPeople: mainWindow.showScreen("people")
            }
        }
    }
}
