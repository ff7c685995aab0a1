import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import "list"

// The signed-in window: the toolbar, the list on the left, the pane on the right with the
// seam between them, and the notices and questions over it all.
Item {
    id: view
    property alias addField: addRow.titleField
    property alias list: list

    MainToolbar {
        id: toolbar
        anchors { left: parent.left; right: parent.right; top: parent.top }
    }

    Item {
        id: columns
        anchors { left: parent.left; right: parent.right; top: toolbar.bottom; bottom: parent.bottom }
        readonly property real paneWidth: mainWindow.paneOpen
                                          ? mainWindow.paneWidth(width, prefs.paneFraction) : 0

        ColumnLayout {
            id: left
            objectName: "listColumn"
            anchors { left: parent.left; top: parent.top; bottom: parent.bottom }
            width: Math.max(380, columns.width - columns.paneWidth - (mainWindow.paneOpen ? seam.width : 0))
            spacing: Style.spacing

            SearchRow {
                id: searchRow
                Layout.fillWidth: true
                Layout.topMargin: Style.spacing
                Layout.leftMargin: Style.padding
                Layout.rightMargin: Style.padding
            }
            AddRow {
                id: addRow
                Layout.fillWidth: true
                Layout.leftMargin: Style.padding
                Layout.rightMargin: Style.padding
            }
            FilterBar {
                Layout.fillWidth: true
                Layout.leftMargin: Style.padding
                Layout.rightMargin: Style.padding
            }
            Item {
                Layout.fillWidth: true
                Layout.fillHeight: true
                ItemList {
                    id: list
                    anchors.fill: parent
                    anchors.leftMargin: 4
                    anchors.rightMargin: 4
                    visible: count > 0
                    onEditRequested: rename => {
                        mainWindow.paneOpen = true
                        if (paneLoader.item && paneLoader.item.focusTitle)
                            paneLoader.item.focusTitle(rename)
                    }
                }
                EmptyState {
                    objectName: "emptyState"
                    anchors.centerIn: parent
                    width: Math.min(parent.width - 2 * Style.padding, 320)
                    visible: list.count === 0
                    title: mainWindow.emptyState.title
                    description: mainWindow.emptyState.description
                    buttonText: mainWindow.emptyState.button
                    iconSource: "qrc:/velmora/icons/inbox.svg"
                    onButtonClicked: app.clearFilters()
                }
            }
            // Offline, the badge has a line of its own under the list, covering no row.
            OfflineBadge {
                objectName: "offlineBadge"
                visible: store.isOffline
                Layout.alignment: Qt.AlignRight
                Layout.rightMargin: Style.padding
                Layout.bottomMargin: Style.spacing
                text: mainWindow.offlineText
                toolTipText: mainWindow.offlineToolTip
                onRetry: mainWindow.retryConnection()
            }
        }

        Rectangle {
            id: seam
            objectName: "seam"
            visible: mainWindow.paneOpen
            anchors { left: left.right; top: parent.top; bottom: parent.bottom }
            width: 5
            color: seamArea.containsMouse || seamArea.pressed ? Style.separator : "transparent"
            Rectangle {
                anchors { horizontalCenter: parent.horizontalCenter; top: parent.top; bottom: parent.bottom }
                width: 1
                color: Style.separator
            }
            MouseArea {
                id: seamArea
                anchors.fill: parent
                anchors.leftMargin: -2
                anchors.rightMargin: -2
                hoverEnabled: true
                cursorShape: Qt.SplitHCursor
                onPositionChanged: mouse => {
                    if (pressed)
                        mainWindow.dragSeam(mapToItem(columns, mouse.x, 0).x, columns.width)
                }
                onDoubleClicked: mainWindow.resetSeam()
            }
        }

        Rectangle {
            id: pane
            objectName: "pane"
            visible: mainWindow.paneOpen
            anchors { left: seam.right; right: parent.right; top: parent.top; bottom: parent.bottom }
            color: Style.surface
            // Escape in a clean form goes back to the list.
            Keys.onEscapePressed: list.forceActiveFocus()
            Loader {
                id: paneLoader
                anchors.fill: parent
                sourceComponent: {
                    switch (mainWindow.paneContent) {
                    case "draft": return draftComponent
                    case "screen": return screenComponent
                    case "item": return itemComponent
                    default: return placeholderComponent
                    }
                }
            }
        }

        FlashBadge {
            objectName: "flashBadge"
            visible: store.flash.length > 0
            anchors { horizontalCenter: left.horizontalCenter; top: parent.top; topMargin: Style.spacing }
            message: store.flash
        }
        UndoToast {
            objectName: "undoToast"
            visible: mainWindow.undo.hasOffer
            anchors { horizontalCenter: parent.horizontalCenter; bottom: parent.bottom; bottomMargin: Style.padding }
            message: mainWindow.undo.message
            onUndo: mainWindow.undoLast()
            onDismissed: mainWindow.undo.clear()
        }
    }

    Component {
        id: draftComponent
        DraftPane {
            store: app.store
            Component.onCompleted: mainWindow.fillDraft(editor)
            Connections {
                target: mainWindow
                function onDraftFilled() { mainWindow.fillDraft(editor) }
            }
            onDone: mainWindow.closeDraft(true)
            onAdded: localID => mainWindow.noteAdded(localID)
            onCancelled: mainWindow.closeDraft(false)
        }
    }
    Component {
        id: screenComponent
        ScreenPane {}
    }
    Component {
        id: itemComponent
        ItemDetail {
            store: app.store
            itemId: store.selection
            onDeleteRequested: id => mainWindow.deleteWithUndo(id)
        }
    }
    Component {
        id: placeholderComponent
        Item {
            EmptyState {
                objectName: "panePlaceholder"
                anchors.centerIn: parent
                width: Math.min(parent.width - 2 * Style.padding, 300)
                title: "Nothing selected"
                description: "Pick something on the left to see its details."
                iconSource: "qrc:/velmora/icons/sidebar.svg"
            }
        }
    }

    MainDialogs {}

    WelcomeView {
        objectName: "welcome"
        wanted: store.showsWelcome && !store.hasPendingConflict
        briefingsLabel: "the Briefing pane"
        onDismissed: app.dismissWelcome()
    }

    Shortcut {
        // Ctrl+N itself is the Edit menu's.
        sequences: ["Ctrl+Return", "Ctrl+Enter"]
        onActivated: mainWindow.openNewTask()
    }
    // Ctrl+F: the search field, its text selected.
    function focusSearch() {
        searchRow.field.forceActiveFocus()
        searchRow.field.selectAll()
    }
    // The window opens with the keys in the list, or in the add row while it is empty.
    function focusStart() {
        if (list.count > 0)
            list.forceActiveFocus()
        else
            addRow.titleField.forceActiveFocus()
    }
    onVisibleChanged: if (visible) focusStart()
    Component.onCompleted: if (visible) focusStart()
}
