import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import ".."

// Two lines for a quick add: what, how urgent, then where, who and when. Return adds and
// the row is empty again at once.
ColumnLayout {
    id: addRow
    spacing: 4
    property alias titleField: titleField

    RowLayout {
        Layout.fillWidth: true
        spacing: 2
        TextField {
            id: titleField
            objectName: "addField"
            Layout.fillWidth: true
            placeholderText: "Add something…"
            Accessible.name: "Add something…"
            text: mainWindow.newTitle
            onTextEdited: mainWindow.newTitle = text
            onAccepted: mainWindow.submit()
            ToolTip.visible: hovered && !activeFocus
            ToolTip.delay: 600
            ToolTip.text: "Type what needs doing and press Return"
        }
        IconButton {
            objectName: "addPriority"
            toolTipText: mainWindow.priorityToolTip
            onClicked: mainWindow.cyclePriority()
            contentItem: PriorityStars {
                priority: mainWindow.newPriority
                alwaysShow: true
            }
        }
        IconButton {
            objectName: "addWithDetails"
            iconSource: "qrc:/velmora/icons/expand.svg"
            toolTipText: "Add with details — the full form opens in the pane (Ctrl+Return)"
            Accessible.name: "New task with details"
            onClicked: mainWindow.openNewTask()
        }
    }
    RowLayout {
        Layout.fillWidth: true
        spacing: Style.spacing
        ComboBox {
            objectName: "addSection"
            Accessible.name: "Type"
            ToolTip.visible: hovered
            ToolTip.delay: 600
            ToolTip.text: "Which list this goes on"
            model: app.sectionChoices().slice(1)
            textRole: "label"
            valueRole: "value"
            currentIndex: model.findIndex(choice => choice.value === mainWindow.newSection)
            onActivated: mainWindow.newSection = currentValue
            implicitContentWidthPolicy: ComboBox.WidestText
        }
        TextField {
            objectName: "addWho"
            Layout.fillWidth: true
            placeholderText: "Who…"
            Accessible.name: "Who…"
            text: mainWindow.newWho
            onTextEdited: mainWindow.newWho = text
            onAccepted: mainWindow.submit()
            ToolTip.visible: hovered && !activeFocus
            ToolTip.delay: 600
            ToolTip.text: "Who it involves — the person, not who typed it"
        }
        DueDateRow {
            objectName: "addDue"
            title: "Due"
            date: mainWindow.newDue
            onDateEdited: value => mainWindow.newDue = value
        }
    }
}
