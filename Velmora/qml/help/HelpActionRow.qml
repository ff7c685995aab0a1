import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora

// A control explained: its label as a chip, what it does, and on touch clients the swipe.
RowLayout {
    id: row
    property string label
    property string does
    property string swipe
    property bool showsSwipe: false
    spacing: Style.spacing

    Rectangle {
        Layout.alignment: Qt.AlignTop
        Layout.preferredWidth: Math.max(86, chip.implicitWidth + 14)
        implicitHeight: chip.implicitHeight + 6
        radius: 5
        color: Style.chipFill
        border.width: 1
        border.color: Style.separator
        Label {
            id: chip
            anchors.centerIn: parent
            text: row.label
            textFormat: Text.PlainText
            font.pixelSize: Style.smallFont + 1
            font.weight: Font.DemiBold
        }
    }
    Column {
        Layout.fillWidth: true
        spacing: 2
        Label {
            width: parent.width
            text: row.does
            textFormat: Text.PlainText
            wrapMode: Text.WordWrap
            color: Style.secondaryText
            lineHeight: 1.15
        }
        Label {
            visible: row.showsSwipe && row.swipe.length > 0
            text: row.swipe === "left" ? "Swipe left" : "Swipe right"
            font.pixelSize: Style.smallFont
            color: Style.secondaryText
        }
    }
}
