import QtQuick
import QtQuick.Controls
import QtQuick.Controls.impl
import Velmora
import ".."

// A link as a small chip: its name, the address in the tooltip; a click opens it in the
// browser. Only web and mail addresses open, so a link can never start a local program.
AbstractButton {
    id: chip
    property string label: ""
    property string url: ""
    property int maximumWidth: 160

    readonly property bool opens: /^(https?:\/\/|mailto:)/i.test(url)

    hoverEnabled: true
    focusPolicy: Qt.NoFocus
    leftPadding: 6
    rightPadding: 8
    implicitWidth: Math.min(maximumWidth, linkIcon.width + 4 + name.implicitWidth
                            + leftPadding + rightPadding)
    implicitHeight: 18
    Accessible.role: Accessible.Link
    Accessible.name: label.length > 0 ? label : url
    ToolTip.visible: hovered && url.length > 0
    ToolTip.delay: 600
    ToolTip.text: url

    onClicked: if (opens) Qt.openUrlExternally(url)

    background: Rectangle {
        radius: height / 2
        color: chip.hovered ? Style.linkHover : Style.linkFill
    }
    contentItem: Item {
        IconImage {
            id: linkIcon
            anchors.verticalCenter: parent.verticalCenter
            width: 12
            height: 12
            sourceSize: Qt.size(12, 12)
            source: "qrc:/velmora/icons/link.svg"
            color: Style.linkText
        }
        Text {
            id: name
            x: linkIcon.width + 4
            width: parent.width - x
            anchors.verticalCenter: parent.verticalCenter
            text: chip.Accessible.name
            textFormat: Text.PlainText
            elide: Text.ElideRight
            color: Style.linkText
            font.pixelSize: Style.smallFont
        }
    }
}
