import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora

// A screen in the right pane under the back bar. Screens still to come show their title.
ColumnLayout {
    id: pane
    spacing: 0
    readonly property string screen: app.router.screen
    readonly property var titles: ({ connections: "Connections", rules: "Rules",
                                     ai: "AI Assistant", people: "People" })

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
    ColumnLayout {
        Layout.fillWidth: true
        Layout.fillHeight: true
        Layout.margins: Style.padding * 2
        spacing: Style.spacing
        Label {
            objectName: "screenTitle"
            text: pane.titles[pane.screen] || ""
            font.pixelSize: Style.titleFont
            font.weight: Font.DemiBold
        }
        Label {
            Layout.fillWidth: true
            wrapMode: Text.WordWrap
            text: "This screen is on its way."
            color: Style.secondaryText
        }
        Button {
            objectName: "laterButton"
            visible: pane.screen === "ai" && mainWindow.hasProposal
            text: "Later"
            onClicked: mainWindow.deferProposal()
        }
        Item { Layout.fillHeight: true }
    }
}
