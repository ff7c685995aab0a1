import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import Velmora.Forms
import ".."
import "../people"

// The selected item in the right pane. Edits stay in the form until "Save" (Ctrl+S); a move
// to another item saves them, Escape reverts them, and a change of this item from elsewhere
// leaves them and brings up the save bar.
FocusScope {
    id: root
    property QtObject store: null
    property string itemId
    readonly property alias editor: editor
    // The confirmed "Delete": the window deletes with undo.
    signal deleteRequested(string id)

    // Return or F2 on a row: the keys go to the title, selected for F2.
    function focusTitle(selectAll) {
        titleField.forceActiveFocus()
        if (selectAll)
            titleField.selectAll()
        else
            titleField.cursorPosition = 0
    }

    ItemEditor {
        id: editor
        store: root.store
        itemId: root.itemId
        onDeleteRequested: id => root.deleteRequested(id)
        onSendingChanged: sending ? sendPopup.open() : sendPopup.close()
        onConfirmingDeleteChanged: confirmingDelete ? deleteDialog.open() : deleteDialog.close()
    }

    Shortcut {
        sequences: [StandardKey.Save]
        enabled: root.visible && editor.canSave
        onActivated: editor.save()
    }
    Keys.onEscapePressed: event => {
        event.accepted = editor.dirty
        editor.reset()
    }

    Rectangle {
        anchors.fill: parent
        color: Style.surface
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        ScrollView {
            id: scroll
            Layout.fillWidth: true
            Layout.fillHeight: true
            contentWidth: availableWidth
            contentHeight: form.implicitHeight + 2 * Style.padding

            ColumnLayout {
                id: form
                x: Style.padding
                y: Style.padding
                width: scroll.availableWidth - 2 * Style.padding
                spacing: Style.spacing

                // Title
                LimitedField {
                    id: titleField
                    objectName: "titleField"
                    placeholderText: "Title"
                    Accessible.name: "Title"
                    font.pixelSize: Style.titleFont
                    Layout.fillWidth: true
                    value: editor.title
                    onEdited: text => editor.title = text
                    onAccepted: editor.save()
                }
                LimitLine {
                    visible: editor.titleLimitReached
                    text: editor.limitLine
                    Layout.fillWidth: true
                }

                // Metadata
                FormRow {
                    label: "Who"
                    LimitedField {
                        objectName: "whoField"
                        placeholderText: "Nobody in particular"
                        Accessible.name: "Who"
                        Accessible.description: ToolTip.text
                        Layout.fillWidth: true
                        value: editor.source
                        onEdited: text => editor.source = text
                        onAccepted: editor.save()
                        ToolTip.visible: hovered
                        ToolTip.delay: 600
                        ToolTip.text: "Who it involves, or where it came from — a person or an occasion"
                    }
                }
                FormRow {
                    label: "Due"
                    DateButton {
                        objectName: "dueButton"
                        visible: !!editor.due
                        title: "Due"
                        date: editor.due
                        onPicked: date => editor.due = date
                    }
                    Button {
                        visible: !!editor.due
                        text: "Clear"
                        Accessible.name: text
                        Accessible.description: ToolTip.text
                        onClicked: editor.clearDate()
                        ToolTip.visible: hovered
                        ToolTip.delay: 600
                        ToolTip.text: "Leave it undated — it stops appearing in Today"
                    }
                    Label {
                        visible: !editor.due
                        text: "No date"
                        color: Style.secondaryText
                    }
                    Button {
                        visible: !editor.due
                        text: "Set a date…"
                        Accessible.name: text
                        onClicked: editor.setDateToToday()
                    }
                    Item { Layout.fillWidth: true }
                }
                FormRow {
                    label: "Priority"
                    SegmentedPicker {
                        objectName: "priority"
                        title: "Priority"
                        hint: "High shows stars in the list; medium is the default and shows none"
                        choices: editor.priorityChoices
                        current: editor.priority
                        onChosen: value => editor.priority = value
                    }
                    Item { Layout.fillWidth: true }
                }
                FormRow {
                    label: "Section"
                    SegmentedPicker {
                        objectName: "section"
                        title: "Section"
                        hint: "Action: you move next. Waiting: someone owes you. Note: just worth knowing."
                        choices: editor.sectionChoices
                        current: editor.section
                        onChosen: value => editor.section = value
                    }
                    Item { Layout.fillWidth: true }
                }
                FormRow {
                    label: "Added"
                    Label {
                        text: editor.addedLabel
                        color: Style.text
                        Layout.fillWidth: true
                    }
                }
                FormRow {
                    visible: editor.isAI
                    label: "Source"
                    Label {
                        text: "\u2726"
                        color: Style.accent
                        Accessible.ignored: true
                    }
                    Label {
                        text: "Suggested by your AI agent, accepted by you"
                        color: Style.text
                        wrapMode: Text.WordWrap
                        Layout.fillWidth: true
                    }
                }

                // Links
                RowLayout {
                    Layout.topMargin: Style.spacing
                    spacing: Style.spacing
                    Label {
                        text: "Links"
                        color: Style.text
                        font.weight: Font.DemiBold
                    }
                    Label {
                        objectName: "linkCount"
                        text: editor.links.length + " of " + editor.maxLinks
                        color: Style.secondaryText
                    }
                }
                Flow {
                    visible: editor.links.length > 0
                    spacing: Style.spacing
                    Layout.fillWidth: true
                    Repeater {
                        model: editor.links
                        delegate: RowLayout {
                            id: chip
                            required property var modelData
                            required property int index
                            spacing: 0
                            LinkChip {
                                label: chip.modelData.label
                                url: chip.modelData.url
                                maximumWidth: 220
                            }
                            IconButton {
                                objectName: "removeLink"
                                iconSource: "qrc:/velmora/icons/close.svg"
                                toolTipText: "Remove this link"
                                onClicked: editor.removeLink(chip.index)
                            }
                        }
                    }
                }
                RowLayout {
                    objectName: "addLinkLine"
                    visible: editor.hasRoomForLink
                    spacing: Style.spacing
                    Layout.fillWidth: true
                    LimitedField {
                        placeholderText: "what to call it"
                        Layout.preferredWidth: 1
                        Layout.fillWidth: true
                        value: editor.newLabel
                        onEdited: text => editor.newLabel = text
                        onAccepted: editor.addLink()
                    }
                    LimitedField {
                        placeholderText: "https://…"
                        Layout.preferredWidth: 2
                        Layout.fillWidth: true
                        inputMethodHints: Qt.ImhUrlCharactersOnly
                        value: editor.newURL
                        onEdited: text => editor.newURL = text
                        onAccepted: editor.addLink()
                    }
                    Button {
                        text: "Add"
                        Accessible.name: "Add"
                        enabled: editor.canAddLink
                        onClicked: editor.addLink()
                    }
                }

                // Note
                RowLayout {
                    Layout.topMargin: Style.spacing
                    Layout.fillWidth: true
                    Label {
                        text: "Note"
                        color: Style.text
                        font.weight: Font.DemiBold
                        Layout.fillWidth: true
                    }
                    Button {
                        text: "Copy"
                        Accessible.name: text
                        Accessible.description: ToolTip.text
                        flat: true
                        onClicked: editor.copyNote()
                        ToolTip.visible: hovered
                        ToolTip.delay: 600
                        ToolTip.text: "Copy the note to the clipboard"
                    }
                }
                LimitedArea {
                    objectName: "noteArea"
                    Accessible.name: "Note"
                    Layout.fillWidth: true
                    Layout.minimumHeight: Style.noteMinHeight
                    value: editor.note
                    onEdited: text => editor.note = text
                }

                // Footer
                Label {
                    objectName: "shareStatus"
                    visible: editor.shareStatus !== ""
                    text: editor.shareStatus
                    textFormat: Text.PlainText
                    color: Style.secondaryText
                    wrapMode: Text.WordWrap
                    Layout.topMargin: Style.spacing
                    Layout.fillWidth: true
                }
                Flow {
                    spacing: Style.spacing
                    Layout.topMargin: Style.spacing
                    Layout.fillWidth: true
                    Button {
                        objectName: "toggleButton"
                        text: editor.done ? "Mark as not done" : "Mark as done"
                        Accessible.name: text
                        onClicked: editor.toggle()
                    }
                    Button {
                        objectName: "sendToButton"
                        // A marked item shows its share line instead: it can't go out twice.
                        visible: editor.shareStatus === ""
                        text: "Send to…"
                        Accessible.name: text
                        onClicked: editor.sending = true
                    }
                    Button {
                        text: "Delete"
                        Accessible.name: text
                        palette.buttonText: Style.destructive
                        onClicked: editor.confirmingDelete = true
                    }
                }
            }
        }

        // The save bar, while the form holds edits.
        Rectangle {
            objectName: "saveBar"
            visible: editor.dirty
            color: Style.formBar
            Layout.fillWidth: true
            implicitHeight: saveRow.implicitHeight + 2 * Style.spacing
            Rectangle {
                width: parent.width
                height: 1
                color: Style.separator
            }
            RowLayout {
                id: saveRow
                anchors.fill: parent
                anchors.margins: Style.spacing
                anchors.leftMargin: Style.padding
                anchors.rightMargin: Style.padding
                spacing: Style.spacing
                Item { Layout.fillWidth: true }
                Button {
                    text: "Revert"
                    Accessible.name: text
                    onClicked: editor.reset()
                }
                Button {
                    text: "Save"
                    Accessible.name: text
                    highlighted: true
                    enabled: editor.canSave
                    onClicked: editor.save()
                }
            }
        }
    }

    SendTaskPopover {
        id: sendPopup
        objectName: "sendPopup"
        anchors.centerIn: parent
        itemId: root.itemId
        store: root.store
        onClosed: editor.sending = false
    }

    Dialog {
        id: deleteDialog
        objectName: "deleteDialog"
        title: "Delete this task?"
        anchors.centerIn: parent
        width: Math.min(360, root.width - 2 * Style.padding)
        modal: true
        onClosed: editor.confirmingDelete = false
        contentItem: ColumnLayout {
            spacing: Style.padding
            Label {
                text: "It stays in your history so your AI agent won't suggest it again, but it leaves the list."
                color: Style.text
                wrapMode: Text.WordWrap
                Layout.fillWidth: true
            }
            RowLayout {
                spacing: Style.spacing
                Layout.alignment: Qt.AlignRight
                Button {
                    text: "Keep"
                    Accessible.name: text
                    focus: true
                    onClicked: deleteDialog.close()
                }
                Button {
                    objectName: "confirmDelete"
                    text: "Delete"
                    Accessible.name: text
                    palette.buttonText: Style.destructive
                    onClicked: editor.confirmDelete()
                }
            }
        }
    }
}
