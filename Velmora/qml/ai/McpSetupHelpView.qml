import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import ".."

// The steps that connect an agent over MCP, opened from the empty Updates tab.
ColumnLayout {
    spacing: Style.spacing
    IconButton {
        objectName: "backToUpdates"
        text: "Back to your updates"
        iconSource: "qrc:/velmora/icons/chevron-left.svg"
        onClicked: app.router.aiSetupOpen = false
    }
    Label {
        Layout.fillWidth: true
        wrapMode: Text.WordWrap
        text: "The setup steps are on their way."
        color: Style.secondaryText
    }
    Item { Layout.fillHeight: true }
}
