import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora

// Across the top of the main window: the title and what is due, then the view switch and
// the commands, in a fixed order.
Rectangle {
    id: bar
    implicitHeight: row.implicitHeight + 2 * Style.spacing
    color: Style.surface

    Rectangle {
        anchors { left: parent.left; right: parent.right; bottom: parent.bottom }
        height: 1
        color: Style.separator
    }

    RowLayout {
        id: row
        anchors.fill: parent
        anchors.leftMargin: Style.padding
        anchors.rightMargin: Style.padding
        spacing: Style.spacing

        Column {
            Layout.rightMargin: Style.padding
            Label {
                text: "Velmora"
                font.pixelSize: Style.titleFont
                font.weight: Font.DemiBold
            }
            Label {
                objectName: "subtitle"
                text: mainWindow.subtitle
                color: Style.secondaryText
                font.pixelSize: Style.smallFont
            }
        }

        SegmentedPicker {
            objectName: "showPicker"
            title: "Show"
            hint: "Show only what's due today, or everything"
            choices: [{ value: "today", label: "Today" }, { value: "all", label: "All" }]
            current: app.view.showAll ? "all" : "today"
            onChosen: value => app.view.showAll = (value === "all")
        }

        Item { Layout.fillWidth: true }

        IconButton {
            objectName: "newTaskButton"
            text: "New Task"
            toolTipText: "Add a task with the full form (Ctrl+N)"
            onClicked: mainWindow.openNewTask()
        }
        IconButton {
            objectName: "smartAddButton"
            text: "Smart Add"
            iconSource: "qrc:/velmora/icons/sparkle.svg"
            toolTipText: "Turn whatever you've copied into a task — fields filled in for you"
            enabled: !mainWindow.smartBusy
            onClicked: mainWindow.smartAdd()
        }
        IconButton {
            objectName: "aiButton"
            text: mainWindow.aiButtonLabel
            toolTipText: mainWindow.aiButtonToolTip
            onClicked: mainWindow.openAI()
            // A briefing the user hasn't opened yet.
            Rectangle {
                objectName: "briefingDot"
                visible: store.briefingUnread
                width: 7
                height: 7
                radius: 3.5
                color: Style.accent
                anchors { top: parent.top; right: parent.right; topMargin: 1; rightMargin: -5 }
            }
        }
        IconButton {
            objectName: "peopleButton"
            text: "People"
            toolTipText: "People you can send tasks to"
            onClicked: mainWindow.showScreen("people")
        }
        IconButton {
            objectName: "refreshButton"
            text: "Refresh"
            iconSource: "qrc:/velmora/icons/refresh.svg"
            toolTipText: mainWindow.refreshToolTip
            enabled: !store.isLoading
            onClicked: app.refresh()
        }
        IconButton {
            id: gear
            objectName: "gearButton"
            iconSource: "qrc:/velmora/icons/gear.svg"
            toolTipText: "Connections, Rules and Settings"
            onClicked: gearMenu.popup(gear, 0, gear.height)
            Menu {
                id: gearMenu
                MenuItem { text: "Connections…"; onTriggered: mainWindow.showScreen("connections") }
                MenuItem { text: "Rules…"; onTriggered: mainWindow.showScreen("rules") }
                MenuItem { text: "Settings…"; onTriggered: app.openSettings() }
            }
        }
        IconButton {
            objectName: "detailsButton"
            text: mainWindow.detailsLabel
            iconSource: "qrc:/velmora/icons/sidebar.svg"
            toolTipText: mainWindow.detailsToolTip
            onClicked: mainWindow.paneOpen = !mainWindow.paneOpen
        }
    }
}
