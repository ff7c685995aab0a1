import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora

// The signed-in window: the list as the current view settings show it.
Item {
    ColumnLayout {
        anchors.fill: parent
        anchors.margins: Style.padding
        spacing: Style.spacing

        RowLayout {
            Layout.fillWidth: true
            Label {
                text: "Velmora"
                font.pixelSize: Style.titleFont
                font.weight: Font.DemiBold
            }
            Label {
                objectName: "listCount"
                text: mainList.rows.count === 1 ? "1 item" : mainList.rows.count + " items"
                color: Style.secondaryText
            }
            Item { Layout.fillWidth: true }
            Label {
                visible: store.isOffline
                text: "Offline"
                color: Style.warning
            }
        }

        ListView {
            id: list
            objectName: "mainList"
            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true
            model: mainList.rows
            boundsBehavior: Flickable.StopAtBounds
            ScrollBar.vertical: ScrollBar {}
            delegate: CompactRow {
                width: ListView.view.width
                onToggled: id => app.toggle(id)
            }
        }
    }
}
