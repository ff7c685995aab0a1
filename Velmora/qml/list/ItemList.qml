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
        }
    }

    function openMenu(row, x, y) {
        menu.itemId = row.itemId
        menu.done = row.done
        menu.flagged = row.flagged
        menu.popup(row, x, y)
    }

    section.property: "group"
    section.criteria: ViewSection.FullString
    section.delegate: Item {
        id: header
        required property string section
        width: ListView.view.width
        height: section.length > 0 ? 30 : 0
        visible: section.length > 0
        Label {
            anchors.left: parent.left
            anchors.leftMargin: Style.spacing
            anchors.bottom: parent.bottom
            anchors.bottomMargin: 4
            text: header.section
            font.pixelSize: Style.smallFont
            font.weight: Font.DemiBold
            font.capitalization: Font.AllUppercase
            font.letterSpacing: 0.6
            color: Style.secondaryText
        }
        Label {
            objectName: "lateCount"
            anchors.right: parent.right
            anchors.rightMargin: Style.spacing
            anchors.bottom: parent.bottom
            anchors.bottomMargin: 4
            visible: header.section === "Due Now" && mainWindow.dueNowLate > 0
            text: mainWindow.dueNowLate + " late"
            font.pixelSize: Style.smallFont
            font.weight: Font.DemiBold
            color: Style.warning
        }
    }

    delegate: ItemRow {
        width: ListView.view.width
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
