import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora

VWindow {
    id: window
    objectName: "mainWindow"
    title: "Velmora"
    width: 940
    height: 600
    minimumWidth: 860
    minimumHeight: 460
    visible: false

    menuBar: MenuBar {
        // Escape closes a menu while the pointer rests on its title, yet the bar still counts
        // that menu as open, so the next click on the title would only "close" it. A click
        // on the title of a menu that was closed when pressed opens it.
        delegate: MenuBarItem {
            id: menuTitle
            property bool closing: false
            property bool openAtPress: false
            function reopen() {
                if (menu && !menu.visible) {
                    openAtPress = true
                    triggered()
                }
            }
            onPressed: openAtPress = closing || (!!menu && menu.visible)
            onTriggered: if (!openAtPress) Qt.callLater(reopen)
            Connections {
                target: menuTitle.menu
                // A press outside closes the menu before the title sees that press.
                function onAboutToHide() {
                    menuTitle.closing = true
                    Qt.callLater(() => menuTitle.closing = false)
                }
            }
        }
        Menu {
            title: qsTr("&File")
            delegate: ShortcutMenuItem {}
            Action {
                text: "Refresh"
                shortcut: "Ctrl+R"
                onTriggered: app.refresh()
            }
            Action {
                text: "Open Velmora"
                shortcut: "Ctrl+0"
                onTriggered: app.openMainWindow()
            }
            MenuSeparator {}
            Action {
                text: "Settings…"
                shortcut: "Ctrl+,"
                onTriggered: app.openSettings()
            }
            MenuSeparator {}
            Action {
                text: "Quit"
                shortcut: StandardKey.Quit
                onTriggered: app.quit()
            }
        }
        Menu {
            title: qsTr("&Edit")
            delegate: ShortcutMenuItem {}
            Action {
                text: "New Task"
                shortcut: StandardKey.New
                enabled: store.hasToken
                onTriggered: mainWindow.openNewTask()
            }
            Action {
                text: "Smart Add"
                enabled: store.hasToken && !mainWindow.smartBusy
                onTriggered: mainWindow.smartAdd()
            }
            MenuSeparator {}
            // Text fields keep Ctrl+Z for their typing; elsewhere it takes back a delete.
            Action {
                text: "Undo Delete"
                shortcut: StandardKey.Undo
                enabled: store.hasToken && mainWindow.undo.hasOffer
                onTriggered: mainWindow.undoLast()
            }
            Action {
                text: "Find…"
                shortcut: StandardKey.Find
                enabled: store.hasToken
                onTriggered: mainView.focusSearch()
            }
        }
        Menu {
            title: qsTr("&View")
            delegate: ShortcutMenuItem {}
            Menu {
                title: "Show"
                ActionGroup { id: showGroup }
                Action {
                    text: "Today only"
                    checkable: true
                    ActionGroup.group: showGroup
                    checked: !app.view.showAll
                    onTriggered: app.view.showAll = false
                }
                Action {
                    text: "Everything"
                    checkable: true
                    ActionGroup.group: showGroup
                    checked: app.view.showAll
                    onTriggered: app.view.showAll = true
                }
            }
            Action {
                text: "Hide done"
                checkable: true
                checked: app.hideDone
                onTriggered: app.setHideDone(checked)
            }
            MenuSeparator {}
            ChoiceMenu {
                title: "Section"
                choices: app.sectionChoices()
                current: app.view.sectionFilter
                onChosen: value => app.view.sectionFilter = value
            }
            MenuSeparator {}
            ChoiceMenu {
                title: "Sort by"
                choices: app.sortChoices()
                current: app.view.sortField
                onChosen: value => app.view.sortField = value
            }
            ChoiceMenu {
                title: "Order"
                choices: [{ value: "ascending", label: "Ascending" },
                          { value: "descending", label: "Descending" }]
                current: app.view.sortAscending ? "ascending" : "descending"
                onChosen: value => app.view.sortAscending = (value === "ascending")
            }
            MenuSeparator {}
            Action {
                text: "AI Assistant…"
                shortcut: "Ctrl+Shift+A"
                onTriggered: app.openAI()
            }
            Action {
                text: "Rules…"
                shortcut: "Ctrl+Shift+R"
                onTriggered: app.openRules()
            }
            Action {
                text: "Connections…"
                shortcut: "Ctrl+Shift+C"
                onTriggered: app.openConnections()
            }
            MenuSeparator {}
            Action {
                text: "Clear filters"
                shortcut: "Ctrl+Shift+K"
                enabled: app.view.isFiltered
                onTriggered: app.clearFilters()
            }
        }
        Menu {
            title: qsTr("&Help")
            delegate: ShortcutMenuItem {}
            Action {
                text: "Velmora on the web"
                onTriggered: Qt.openUrlExternally(app.webURL)
            }
            Action {
                text: "Manage connections"
                onTriggered: app.openConnections()
            }
        }
    }

    // Built the first time the window is signed out, then kept: most launches never show it.
    Loader {
        anchors.fill: parent
        visible: !store.hasToken
        active: visible || item !== null
        sourceComponent: TokenSetupView {}
    }

    MainView {
        id: mainView
        anchors.fill: parent
        visible: store.hasToken
    }
}
