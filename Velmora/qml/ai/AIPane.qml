import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import ".."

// The AI pane: the header, the "Section" picker over four tabs and the tab on show. Each
// tab is a file of its own, loaded when it is picked.
ColumnLayout {
    id: ai
    objectName: "aiPane"
    property bool helping: false
    readonly property string tab: mainWindow.aiTab
    spacing: Style.spacing

    RowLayout {
        Layout.fillWidth: true
        spacing: Style.spacing
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2
            Label {
                text: "AI Assistant"
                font.pixelSize: Style.titleFont
                font.weight: Font.DemiBold
            }
            Label {
                Layout.fillWidth: true
                text: "A read of your open list once a day — what's critical, who to chase, what to drop."
                wrapMode: Text.WordWrap
                color: Style.secondaryText
            }
        }
        IconButton {
            objectName: "aiHelpButton"
            Layout.alignment: Qt.AlignTop
            iconSource: "qrc:/velmora/icons/help.svg"
            toolTipText: "What this screen means"
            checkable: true
            checked: ai.helping
            onClicked: ai.helping = !ai.helping
        }
    }

    SegmentedPicker {
        objectName: "aiSection"
        Layout.fillWidth: true
        title: "Section"
        current: ai.tab
        choices: [
            { value: "briefing", label: "Briefing" },
            { value: "updates", label: "Updates",
              badge: mainWindow.suggestionCount + app.store.sharedWaiting },
            { value: "credits", label: "Credits" },
            { value: "tune", label: "Tune" }
        ]
        onChosen: value => {
            ai.helping = false
            mainWindow.aiTab = value
        }
    }

    Loader {
        id: tabLoader
        objectName: "aiTabLoader"
        Layout.fillWidth: true
        Layout.fillHeight: true
        Layout.topMargin: Style.spacing
        source: ai.helping ? (ai.tab === "updates" ? "../agents/UpdatesHelpView.qml"
                                                   : "BriefingHelpView.qml")
              : ai.tab === "updates" ? "UpdatesTab.qml"
              : ai.tab === "credits" ? "CreditsTab.qml"
              : ai.tab === "tune" ? "TuneTab.qml" : "BriefingTab.qml"
    }
    Connections {
        target: tabLoader.item
        ignoreUnknownSignals: true
        function onBack() { ai.helping = false }
        function onHelp() { ai.helping = true }
    }
}
