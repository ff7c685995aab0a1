import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import ".."

// The section chips and, while anything narrows the list, a line that says what.
ColumnLayout {
    spacing: 4

    Flow {
        Layout.fillWidth: true
        spacing: 6
        // A fixed number of chips whose words follow the counts: a new count rebinds a chip
        // instead of building the row again.
        Repeater {
            model: mainWindow.chips.length
            delegate: SectionChip {
                required property int index
                readonly property var chipData: mainWindow.chips[index]
                objectName: "chip-" + (chipData.section || "all")
                title: chipData.title
                count: chipData.count
                selected: chipData.selected
                toolTipText: chipData.toolTip
                accessibleName: chipData.accessibleName
                onClicked: mainWindow.clickChip(chipData.section)
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
