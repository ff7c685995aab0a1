import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora

VWindow {
    id: window
    objectName: "settingsWindow"
    title: "Velmora Settings"
    width: 460
    minimumWidth: 460
    maximumWidth: 460
    height: 440
    minimumHeight: 360
    visible: false

    Shortcut {
        sequences: [StandardKey.Close, "Escape"]
        onActivated: window.close()
    }

    header: TabBar {
        id: tabs
        TabButton { text: "General" }
        TabButton { text: "AI" }
        TabButton { text: "Account" }
    }

    StackLayout {
        anchors.fill: parent
        anchors.margins: 20
        currentIndex: tabs.currentIndex

        GeneralSettings {}
        Label {
            text: "The daily briefing's schedule and the AI choices will be set here."
            color: Style.secondaryText
            wrapMode: Text.WordWrap
        }
        Label {
            text: "Your account, its time zone and signing out will be managed here."
            color: Style.secondaryText
            wrapMode: Text.WordWrap
        }
    }
}
