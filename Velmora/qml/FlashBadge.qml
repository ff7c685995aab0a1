import QtQuick
import QtQuick.Controls.impl
import Velmora

// A short-lived capsule saying what a refresh or sync just did.
Rectangle {
    id: badge
    property string message: ""

    implicitWidth: words.x + Math.min(words.implicitWidth, 360) + 12
    implicitHeight: 26
    radius: height / 2
    color: Style.badgeFill
    border.color: Style.badgeBorder
    Accessible.role: Accessible.StaticText
    Accessible.name: message

    IconImage {
        x: 10
        anchors.verticalCenter: parent.verticalCenter
        width: 14
        height: 14
        sourceSize: Qt.size(14, 14)
        source: "qrc:/velmora/icons/refresh.svg"
        color: Style.accent
    }
    Text {
        id: words
        x: 30
        width: parent.width - x - 12
        anchors.verticalCenter: parent.verticalCenter
        text: badge.message
        textFormat: Text.PlainText
        elide: Text.ElideRight
        color: Style.text
        font.pixelSize: Style.smallFont + 1
    }
}
