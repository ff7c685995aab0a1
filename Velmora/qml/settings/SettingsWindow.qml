import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import ".."

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
        objectName: "settingsTabs"
        TabButton { text: "General"; Accessible.name: text }
        TabButton { text: "AI"; Accessible.name: text }
        TabButton { text: "Account"; Accessible.name: text }
    }

    StackLayout {
        anchors.fill: parent
        anchors.margins: 20
        currentIndex: tabs.currentIndex

        GeneralSettings {}
        AISettings {}
        AccountSettings {}
    }
}
