import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import Velmora.Settings
import ".."

// The settings window's AI tab: when the daily work runs, in which zone, and whether the
// briefing is part of it. The account's, so it travels with it.
ColumnLayout {
    id: tab
    objectName: "aiSettings"
    spacing: Style.spacing

    ScheduleSettingsModel {
        id: schedule
        objectName: "scheduleModel"
        store: app.store
    }
    // Read when the tab first shows, not at every launch.
    onVisibleChanged: if (visible && app.store.hasToken) schedule.load()
    Component.onCompleted: if (visible && app.store.hasToken) schedule.load()
    Connections {
        target: app.store
        function onHasTokenChanged() { if (tab.visible && app.store.hasToken) schedule.load() }
    }

    Label {
        text: "Schedule"
        font.weight: Font.DemiBold
    }
    GridLayout {
        columns: 2
        columnSpacing: Style.spacing * 2
        rowSpacing: Style.spacing
        Label { text: "Time" }
        ComboBox {
            objectName: "scheduleHour"
            Accessible.name: "Time"
            textRole: "label"
            valueRole: "value"
            model: schedule.hourChoices
            currentIndex: schedule.hour + 1
            onActivated: index => schedule.hour = index - 1
            Layout.preferredWidth: 200
        }
        Label { text: "Time zone" }
        Button {
            objectName: "zoneButton"
            text: schedule.zoneLabel
            Accessible.name: "Time zone: " + text
            onClicked: schedule.pickingZone = true
            Layout.preferredWidth: 200
        }
    }
    Label {
        text: "Everything daily arrives at this time, in this zone. The zone is filled in from the first device you sign in on; change it here if you move."
        color: Style.secondaryText
        font.pixelSize: Style.smallFont
        wrapMode: Text.WordWrap
        Layout.fillWidth: true
    }

    Label {
        text: "What arrives"
        font.weight: Font.DemiBold
        Layout.topMargin: Style.spacing
    }
    Switch {
        objectName: "dailyBriefing"
        palette.window: Style.controlFrame
        palette.button: Style.switchKnob
        text: "Daily briefing"
        Accessible.name: text
        enabled: schedule.hour >= 0
        checked: schedule.on
        onToggled: schedule.on = checked
    }
    Label {
        objectName: "briefingNote"
        text: schedule.briefingNote
        color: Style.secondaryText
        font.pixelSize: Style.smallFont
        wrapMode: Text.WordWrap
        Layout.fillWidth: true
    }

    Switch {
        objectName: "urgentAgentAlerts"
        palette.window: Style.controlFrame
        palette.button: Style.switchKnob
        text: "Urgent tasks from agents"
        Accessible.name: text
        checked: prefs.urgentAgentAlerts
        onToggled: prefs.urgentAgentAlerts = checked
    }
    Label {
        text: "When an agent adds a task it marks urgent, a notification says so at once. Set on this computer only."
        color: Style.secondaryText
        font.pixelSize: Style.smallFont
        wrapMode: Text.WordWrap
        Layout.fillWidth: true
    }

    Label {
        objectName: "scheduleFailure"
        visible: schedule.failed
        text: "Couldn't reach the server. Your schedule is unchanged."
        color: Style.warning
        wrapMode: Text.WordWrap
        Layout.fillWidth: true
        Accessible.role: Accessible.AlertMessage
    }

    Item { Layout.fillHeight: true }

    TimeZonePickerView {
        objectName: "zonePicker"
        model: schedule
        wanted: schedule.pickingZone
        onClosed: schedule.pickingZone = false
    }
}
