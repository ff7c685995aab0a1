import QtQuick
import QtQuick.Controls
import Velmora
import ".."

// The rows of the list, under their group headings; single-select, driven by the keyboard
// as well as the pointer.
ListView {
    id: list
    objectName: "itemList"
    clip: true
    model: mainWindow.rows
    currentIndex: mainWindow.currentRow
    highlightFollowsCurrentItem: false
    keyNavigationEnabled: false
    boundsBehavior: Flickable.StopAtBounds
    reuseItems: true
    cacheBuffer: 400
    activeFocusOnTab: true
    Accessible.role: Accessible.List
    Accessible.name: "Tasks"
    // Return opens the selected task in the pane; F2 there with its title selected.
    signal editRequested(bool rename)
    ScrollBar.vertical: ScrollBar {}

    onCurrentIndexChanged: if (currentIndex >= 0) positionViewAtIndex(currentIndex, ListView.Contain)

    Keys.onUpPressed: mainWindow.moveSelection(-1)
    Keys.onDownPressed: mainWindow.moveSelection(1)
    Keys.onSpacePressed: mainWindow.toggleSelected()
    Keys.onDeletePressed: mainWindow.deleteSelected()
    Keys.onPressed: event => {
        const menuKey = event.key === Qt.Key_Menu
                     || (event.key === Qt.Key_F10 && (event.modifiers & Qt.ShiftModifier))
        if (menuKey && currentItem) {
            openMenu(currentItem, 40, currentItem.height / 2)
            event.accepted = true
        } else if (currentIndex >= 0 && (event.key === Qt.Key_Return
                                         || event.key === Qt.Key_Enter || event.key === Qt.Key_F2)) {
            editRequested(event.key === Qt.Key_F2)
            event.accepted = true
        }
    }

    function openMenu(row, x, y) {
        menu.itemId = row.itemId
        menu.done = row.done
        menu.flagged = row.flagged
        menu.popup(row, x, y)
    }

    delegate: ItemRow {
        required heading
        width: ListView.view.width
        lateCount: heading === "Due Now" ? mainWindow.dueNowLate : 0
        selected: ListView.isCurrentItem
        onActivated: {
            mainWindow.select(index)
            list.forceActiveFocus()
        }
        onToggleRequested: mainWindow.toggle(itemId)
        onFlagRequested: mainWindow.flag(itemId)
        onContextMenuRequested: (x, y) => {
            mainWindow.select(index)
            list.openMenu(this, x, y)
        }
    }

    ItemContextMenu {
        id: menu
        property string itemId
        onToggle: mainWindow.toggle(itemId)
        onFlag: mainWindow.flag(itemId)
        onCopyTitle: mainWindow.copyTitle(itemId)
        onRemove: mainWindow.deleteWithUndo(itemId)
    }
}
