import QtQuick
import Velmora.Forms
import "../help"

// What the update review means.
HelpDocumentView {
    objectName: "updatesHelp"
    cards: HelpPages.updates
    backLabel: "Back to your updates"
}
