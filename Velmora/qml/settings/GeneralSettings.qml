import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora

// Settings of this machine only; they never travel to the server.
ColumnLayout {
    spacing: Style.spacing

    Switch {
        objectName: "launchAtLogin"
        palette.button: Style.switchKnob
        text: "Open at login"
        Accessible.name: text
        palette.window: Style.controlFrame
        checked: prefs.launchAtLogin
        onToggled: prefs.launchAtLogin = checked
    }

    Switch {
        objectName: "showInDock"
        palette.button: Style.switchKnob
        text: "Show in taskbar"
        Accessible.name: text
        checked: prefs.showInDock
        onToggled: prefs.showInDock = checked
        palette.window: Style.controlFrame
        ToolTip.visible: hovered
        ToolTip.delay: 600
        ToolTip.text: "Gives the main window an entry in the taskbar"
    }
    Label {
        text: "With this off the app lives only in the system tray."
        color: Style.secondaryText
        font.pixelSize: Style.smallFont
        Layout.leftMargin: 4
    }

    RowLayout {
        spacing: Style.spacing
        Label { text: "Appearance" }
        Repeater {
            model: prefs.appearanceChoices()
            delegate: RadioButton {
                required property var modelData
                objectName: "appearance-" + modelData.value
                text: modelData.label
                Accessible.name: text
                palette.window: Style.controlFrame
                checked: prefs.appearance === modelData.value
                onToggled: prefs.appearance = modelData.value
            }
        }
    }

    Switch {
        objectName: "dailyReminder"
        palette.button: Style.switchKnob
        text: "Daily reminder"
        Accessible.name: text
        palette.window: Style.controlFrame
        checked: prefs.dailyReminder
        onToggled: prefs.dailyReminder = checked
        ToolTip.visible: hovered
        ToolTip.delay: 600
        ToolTip.text: "One notification a day saying how much is due"
    }

    RowLayout {
        spacing: Style.spacing
        Label { text: "At" }
        ComboBox {
            objectName: "reminderHour"
            Accessible.name: "At"
            enabled: prefs.dailyReminder
            model: [...Array(24).keys()].map(hour => app.hourLabel(hour))
            currentIndex: prefs.reminderHour
            onActivated: index => prefs.reminderHour = index
        }
    }

    Label {
        text: "One notification a day, telling you how much is due. Nothing else interrupts you."
        color: Style.secondaryText
        wrapMode: Text.WordWrap
        Layout.fillWidth: true
    }

    Item { Layout.fillHeight: true }

    RowLayout {
        Label { text: "Version" }
        Label {
            objectName: "versionLabel"
            text: app.versionLabel
            color: Style.secondaryText
        }
    }
}
