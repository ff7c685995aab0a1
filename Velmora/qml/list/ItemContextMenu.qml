import QtQuick
import QtQuick.Controls
import ".."

// The one context menu of the list; the list sets it up for the row it opens on.
Menu {
    id: menu
    property bool done: false
    property bool flagged: false
    signal toggle()
    signal flag()
    signal copyTitle()
    signal remove()

    MenuItem {
        text: menu.done ? "Mark as not done" : "Mark as done"
        onTriggered: menu.toggle()
    }
    MenuItem {
        text: menu.flagged ? "Unflag" : "Flag as urgent"
        onTriggered: menu.flag()
    }
    MenuItem {
        text: "Copy title"
        onTriggered: menu.copyTitle()
    }
    MenuSeparator {}
    MenuItem {
        text: "Delete"
        onTriggered: menu.remove()
    }
}
