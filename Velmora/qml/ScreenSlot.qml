import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora

// A screen of the pane that is still to come: its title and a line that says so.
ColumnLayout {
    property string title
    spacing: Style.spacing

    Label {
        objectName: "screenTitle"
        text: parent.title
        font.pixelSize: Style.titleFont
        font.weight: Font.DemiBold
    }
    Label {
        Layout.fillWidth: true
        wrapMode: Text.WordWrap
        text: "This screen is on its way."
        color: Style.secondaryText
    }
    Item { Layout.fillHeight: true }
}
