import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora

// A screen in the right pane under the back bar. Each screen is a file of its own, loaded
// when first shown.
ColumnLayout {
    id: pane
    spacing: 0
    readonly property string screen: app.router.screen
    readonly property var files: ({ connections: "settings/ConnectionsWindow.qml",
                                    rules: "agents/RulesView.qml",
                                    ai: "ai/AIPane.qml",
                                    people: "people/PeoplePane.qml" })

    IconButton {
        objectName: "backButton"
        Layout.margins: Style.spacing
        text: "Back"
        iconSource: "qrc:/velmora/icons/chevron-left.svg"
        toolTipText: app.router.backToolTip
        onClicked: app.router.back()
    }
    Rectangle {
        Layout.fillWidth: true
        implicitHeight: 1
        color: Style.separator
    }
    Loader {
        objectName: "screenLoader"
        Layout.fillWidth: true
        Layout.fillHeight: true
        Layout.margins: Style.padding * 1.5
        source: pane.files[pane.screen] || ""
    }
}
