import QtQuick
import Velmora
import "../agents"

// The Updates tab: the review of the pending proposal, or what to do while none waits; the
// agent setup steps over either while they are open.
Loader {
    id: tab
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
