import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import ".."

// The search field and the controls of the list's order and filters.
RowLayout {
    id: row
    spacing: 2
    property alias field: search

    TextField {
        id: search
        objectName: "searchField"
        Layout.fillWidth: true
        placeholderText: "Search…"
        Accessible.name: "Search"
        text: app.view.search
        onTextEdited: app.view.search = text
        Keys.onEscapePressed: event => {
            if (text.length === 0) { event.accepted = false; return }
            app.view.search = ""
        }
        rightPadding: clear.visible ? clear.width + 6 : leftPadding
        IconButton {
            id: clear
            objectName: "clearSearch"
            anchors.right: parent.right
            anchors.rightMargin: 2
            anchors.verticalCenter: parent.verticalCenter
            visible: app.view.search.length > 0
            iconSource: "qrc:/velmora/icons/close.svg"
            toolTipText: "Clear the search"
            onClicked: app.view.search = ""
        }
    }
    IconButton {
        id: sortButton
        objectName: "sortButton"
        text: "Sort"
        toolTipText: "Sort the list"
        onClicked: sortMenu.popup(sortButton, 0, sortButton.height)
        ChoiceMenu {
            id: sortMenu
            title: "Sort"
            choices: app.sortChoices()
            current: app.view.sortField
            onChosen: value => app.view.sortField = value
        }
    }
    IconButton {
        objectName: "sortOrderButton"
        iconSource: app.view.sortAscending ? "qrc:/velmora/icons/arrow-up.svg"
                                           : "qrc:/velmora/icons/arrow-down.svg"
        toolTipText: mainWindow.sortOrderToolTip
        onClicked: app.view.sortAscending = !app.view.sortAscending
    }
    IconButton {
        objectName: "hideDoneButton"
        iconSource: app.hideDone ? "qrc:/velmora/icons/eye-off.svg" : "qrc:/velmora/icons/eye.svg"
        toolTipText: mainWindow.hideDoneToolTip
        onClicked: app.setHideDone(!app.hideDone)
    }
    IconButton {
        id: filterButton
        objectName: "filterButton"
        iconSource: mainWindow.menuFilterActive ? "qrc:/velmora/icons/filter-solid.svg"
                                                : "qrc:/velmora/icons/filter.svg"
        tint: mainWindow.menuFilterActive ? Style.accent : Style.secondaryText
        toolTipText: "Filter by flag, priority or channel"
        onClicked: filterMenu.popup(filterButton, 0, filterButton.height)
        Menu {
            id: filterMenu
            MenuItem {
                text: "Flagged"
                checkable: true
                checked: app.view.flaggedFilter
                onTriggered: app.view.flaggedFilter = checked
            }
            MenuSeparator {}
            ChoiceMenu {
                title: "Priority"
                choices: [{ value: "", label: "Any priority" }, { value: "high", label: "High" },
                          { value: "medium", label: "Medium" }, { value: "low", label: "Low" }]
                current: app.view.priorityFilter
                onChosen: value => app.view.priorityFilter = value
            }
            ChoiceMenu {
                title: "Channel"
                choices: [{ value: "", label: "Any channel" }].concat(app.channelChoices())
                current: app.view.channelFilter
                onChosen: value => app.view.channelFilter = value
            }
            MenuSeparator { visible: app.view.isFiltered }
            MenuItem {
                text: "Clear filters"
                visible: app.view.isFiltered
                height: visible ? implicitHeight : 0
                onTriggered: app.clearFilters()
            }
        }
    }
}
