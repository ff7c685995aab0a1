import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora

// The AI pane's Tune tab.
ColumnLayout {
    Label {
        Layout.fillWidth: true
        wrapMode: Text.WordWrap
        text: "This tab is on its way."
        color: Style.secondaryText
    }
    Item { Layout.fillHeight: true }
}
