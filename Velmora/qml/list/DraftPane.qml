import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import Velmora.Forms
import ".."

// The new-task form in the right pane, filled from the add row or from Smart Add. The
// window fills it through `editor` and closes it on `done` or `cancelled`.
FocusScope {
    id: root
    property QtObject store: null
    readonly property alias editor: draft
    signal done()
    signal cancelled()
    signal added(string localID)

    DraftEditor {
        id: draft
        store: root.store
        onDone: root.done()
        onAdded: localID => root.added(localID)
        onCancelled: root.cancelled()
        onFilled: titleField.forceActiveFocus()
    }

    Keys.onEscapePressed: draft.cancel()
    Component.onCompleted: titleField.forceActiveFocus()

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

                Label {
                    text: "New Task"
                    color: Style.text
                    font.pixelSize: Style.titleFont
                    font.weight: Font.DemiBold
                }
                Label {
                    objectName: "notice"
                    visible: draft.notice !== ""
                    text: draft.notice
                    textFormat: Text.PlainText
                    color: Style.secondaryText
                    wrapMode: Text.WordWrap
                    Layout.fillWidth: true
                }

                LimitedField {
                    id: titleField
                    objectName: "titleField"
                    placeholderText: "What needs doing?"
                    font.pixelSize: Style.titleFont
                    Layout.fillWidth: true
                    value: draft.title
                    onEdited: text => draft.title = text
                    onAccepted: draft.add()
                }
                LimitLine {
                    visible: draft.titleLimitReached
                    text: draft.limitLine
                    Layout.fillWidth: true
                }
                Label {
                    objectName: "linksLine"
                    visible: draft.linksLine !== ""
                    text: draft.linksLine
                    textFormat: Text.PlainText
                    color: Style.secondaryText
                    wrapMode: Text.WordWrap
                    Layout.fillWidth: true
                }

                FormRow {
                    label: "Who"
                    LimitedField {
                        objectName: "whoField"
                        placeholderText: "Nobody in particular"
                        Accessible.name: "Who"
                        Accessible.description: ToolTip.text
                        Layout.fillWidth: true
                        value: draft.source
                        onEdited: text => draft.source = text
                        onAccepted: draft.add()
                        ToolTip.visible: hovered
                        ToolTip.delay: 600
                        ToolTip.text: "Who it involves, or where it came from — a person or an occasion"
                    }
                }
                FormRow {
                    label: "Due"
                    DueDateRow {
                        title: "Due"
                        showsTitle: false
                        date: draft.due
                        onDateEdited: date => draft.due = date
                    }
                    Item { Layout.fillWidth: true }
                }
                FormRow {
                    label: "Priority"
                    SegmentedPicker {
                        objectName: "priority"
                        title: "Priority"
                        hint: "High shows stars in the list; medium is the default and shows none"
                        choices: draft.priorityChoices
                        current: draft.priority
                        onChosen: value => draft.priority = value
                    }
                    Item { Layout.fillWidth: true }
                }
                FormRow {
                    label: "Section"
                    SegmentedPicker {
                        objectName: "section"
                        title: "Section"
                        choices: draft.sectionChoices
                        current: draft.section
                        onChosen: value => draft.section = value
                    }
                    Item { Layout.fillWidth: true }
                }
                Label {
                    text: "Action: you move next. Waiting: someone owes you. Note: just worth knowing."
                    color: Style.secondaryText
                    font.pixelSize: Style.smallFont
                    wrapMode: Text.WordWrap
                    Layout.leftMargin: Style.formLabelWidth + Style.spacing
                    Layout.fillWidth: true
                }

                Label {
                    text: "Note"
                    color: Style.text
                    font.weight: Font.DemiBold
                    Layout.topMargin: Style.spacing
                }
                LimitedArea {
                    objectName: "noteArea"
                    Accessible.name: "Note"
                    Layout.fillWidth: true
                    Layout.minimumHeight: Style.noteMinHeight
                    value: draft.note
                    onEdited: text => draft.note = text
                }
            }
        }

        Rectangle {
            color: Style.formBar
            Layout.fillWidth: true
            implicitHeight: barRow.implicitHeight + 2 * Style.spacing
            Rectangle {
                width: parent.width
                height: 1
                color: Style.separator
            }
            RowLayout {
                id: barRow
                anchors.fill: parent
                anchors.margins: Style.spacing
                anchors.leftMargin: Style.padding
                anchors.rightMargin: Style.padding
                spacing: Style.spacing
                Item { Layout.fillWidth: true }
                Button {
                    text: "Cancel"
                    Accessible.name: text
                    onClicked: draft.cancel()
                }
                Button {
                    objectName: "addButton"
                    text: "Add"
                    Accessible.name: text
                    highlighted: true
                    enabled: draft.canAdd
                    onClicked: draft.add()
                }
            }
        }
    }
}
