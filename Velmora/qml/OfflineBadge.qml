import QtQuick
import QtQuick.Controls
import QtQuick.Controls.impl
import Velmora

// A capsule while the app is offline: the words come from the store, one line or two
// ("Last synced …" beneath), and "Retry" asks the server at once.
Rectangle {
    id: badge
    property string text: ""
    property string toolTipText: ""
    signal retry()

    implicitWidth: retryButton.x + retryButton.implicitWidth + 8
    implicitHeight: Math.max(26, words.implicitHeight + 10)
    radius: Math.min(height / 2, 13)
    color: Style.warningFill
    border.color: Style.warningBorder
    Accessible.role: Accessible.StaticText
    Accessible.name: text
    Accessible.description: toolTipText
    ToolTip.visible: hover.hovered && toolTipText.length > 0
    ToolTip.delay: 600
    ToolTip.text: toolTipText

    HoverHandler { id: hover }
    IconImage {
        x: 10
        y: 6
        width: 14
        height: 14
        sourceSize: Qt.size(14, 14)
        source: "qrc:/velmora/icons/offline.svg"
        color: Style.warning
    }
    Text {
        id: words
        x: 30
        anchors.verticalCenter: parent.verticalCenter
        text: badge.text
        textFormat: Text.PlainText
        color: Style.warning
        lineHeight: 1.1
        font.pixelSize: Style.smallFont + 1
        font.weight: Font.Medium
    }
    Button {
        id: retryButton
        objectName: "offlineRetry"
        x: words.x + words.implicitWidth + 10
        anchors.verticalCenter: parent.verticalCenter
        flat: true
        padding: 2
        leftPadding: 8
        rightPadding: 8
        text: "Retry"
        Accessible.name: "Retry now"
        font.pixelSize: Style.smallFont + 1
        font.weight: Font.DemiBold
        palette.buttonText: Style.warning
        onClicked: badge.retry()
    }
}
