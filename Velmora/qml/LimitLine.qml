import QtQuick
import QtQuick.Layouts
import QtQuick.Controls
import Velmora

// Says why a field stopped taking characters.
RowLayout {
    id: line
    property string text
    spacing: 4
    Accessible.role: Accessible.StaticText
    Accessible.name: text

    Label {
        text: "\u26A0\uFE0E"
        color: Style.warning
        font.pixelSize: Style.smallFont
        Accessible.ignored: true
    }
    Label {
        text: line.text
        color: Style.warning
        font.pixelSize: Style.smallFont
        Accessible.ignored: true
        Layout.fillWidth: true
        wrapMode: Text.WordWrap
    }
}
