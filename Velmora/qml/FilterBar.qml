import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora

// The section chips and, while anything narrows the list, a line that says what.
ColumnLayout {
    spacing: 4

    Flow {
        Layout.fillWidth: true
        spacing: 6
        Repeater {
            model: mainWindow.chips
            delegate: SectionChip {
                required property var modelData
                objectName: "chip-" + (modelData.section || "all")
                title: modelData.title
                count: modelData.count
                selected: modelData.selected
                toolTipText: modelData.toolTip
                accessibleName: modelData.accessibleName
                onClicked: mainWindow.clickChip(modelData.section)
            }
        }
    }
    RowLayout {
        Layout.fillWidth: true
        visible: app.view.isFiltered
        Label {
            objectName: "filterSummary"
            Layout.fillWidth: true
            text: mainWindow.filterSummary
            textFormat: Text.PlainText
            elide: Text.ElideRight
            color: Style.secondaryText
            font.pixelSize: Style.smallFont
        }
        IconButton {
            objectName: "clearFilters"
            text: "Clear"
            toolTipText: "Clear filters"
            onClicked: app.clearFilters()
        }
    }
}
