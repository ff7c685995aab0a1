import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora

// The zone picker: a sheet with a search field over the system's zones, the chosen one
// checked. Picking a row sets it and closes the sheet; "Done" closes it as it is.
Popup {
    id: sheet
    property var model
    property bool wanted: false

    parent: Overlay.overlay
    anchors.centerIn: parent
    width: Math.min(parent ? parent.width - 24 : 400, 400)
    height: Math.min(parent ? parent.height - 24 : 380, 380)
    modal: true
    focus: true
    padding: Style.padding
    onWantedChanged: wanted ? open() : close()
    onOpened: search.forceActiveFocus()

    background: Rectangle {
        color: Style.surface
        radius: Style.radius + 2
        border.width: 1
        border.color: Style.separator
    }

    contentItem: ColumnLayout {
        spacing: Style.spacing
        RowLayout {
            Label {
                text: "Time Zone"
                font.weight: Font.DemiBold
                Layout.fillWidth: true
            }
            Button {
                objectName: "zoneDone"
                text: "Done"
                onClicked: sheet.close()
            }
        }
        TextField {
            id: search
            objectName: "zoneSearch"
            placeholderText: "Search time zones"
            Accessible.name: placeholderText
            text: sheet.model ? sheet.model.zoneQuery : ""
            onTextEdited: sheet.model.zoneQuery = text
            Layout.fillWidth: true
            Keys.onDownPressed: list.forceActiveFocus()
        }
        ListView {
            id: list
            objectName: "zoneList"
            clip: true
            model: sheet.model ? sheet.model.zones : []
            keyNavigationEnabled: true
            Layout.fillWidth: true
            Layout.fillHeight: true
            ScrollBar.vertical: ScrollBar {}
            delegate: ItemDelegate {
                required property string modelData
                required property int index
                width: ListView.view.width
                text: modelData.replace(/_/g, " ")
                Accessible.name: text
                highlighted: ListView.isCurrentItem
                onClicked: sheet.model.pickZone(modelData)
                Keys.onReturnPressed: sheet.model.pickZone(modelData)
                contentItem: RowLayout {
                    Label {
                        text: parent.parent.text
                        textFormat: Text.PlainText
                        Layout.fillWidth: true
                    }
                    Label {
                        text: "✓"
                        color: Style.accent
                        visible: sheet.model && sheet.model.timezone === modelData
                    }
                }
            }
        }
    }
}
