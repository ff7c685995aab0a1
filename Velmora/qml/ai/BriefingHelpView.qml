import QtQuick
import Velmora.Forms
import "../help"

// What a briefing means.
HelpDocumentView {
    objectName: "briefingHelp"
    cards: HelpPages.briefing
    backLabel: "Back to your briefing"
}
