import QtQuick
import Velmora

// Where an item came from (me, Teams, email, a meeting…), as a pill in the channel's colour.
// The compact form, for list rows, is the label alone in small type.
Rectangle {
    id: pill
    property string channel: "other"
    property string label: ""
    property bool compact: false

    visible: label.length > 0
    implicitWidth: visible ? name.x + name.implicitWidth + (compact ? 6 : 9) : 0
    implicitHeight: compact ? 16 : 20
    radius: height / 2
    color: Style.channelFill(channel)
    Accessible.role: Accessible.StaticText
    Accessible.name: label

    Rectangle {
        visible: !pill.compact
        x: 8
        anchors.verticalCenter: parent.verticalCenter
        width: 6
        height: 6
        radius: 3
        color: Style.channelColor(pill.channel)
    }
    Text {
        id: name
        x: pill.compact ? 6 : 19
        anchors.verticalCenter: parent.verticalCenter
        text: pill.label
        textFormat: Text.PlainText
        color: Style.channelColor(pill.channel)
        font.pixelSize: pill.compact ? Style.smallFont - 1 : Style.smallFont
        font.weight: Font.Medium
    }
}
