import QtQuick
import QtQuick.Controls
import Velmora

// A note of a help document: its title over its body.
Column {
    property string title
    property string body
    spacing: 4

    Label {
        width: parent.width
        text: parent.title
        textFormat: Text.PlainText
        wrapMode: Text.WordWrap
        font.weight: Font.DemiBold
    }
    Label {
        width: parent.width
        visible: text.length > 0
        text: parent.body
        textFormat: Text.PlainText
        wrapMode: Text.WordWrap
        color: Style.secondaryText
        lineHeight: 1.15
    }
}
