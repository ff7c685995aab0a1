import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import ".."

// One item in a short list: a round check, the title on one line, the source beneath.
ItemDelegate {
    id: row
    required property string itemId
    required property string title
    required property string source
    required property bool done
    required property string section
    signal toggled(string id)

    implicitHeight: content.implicitHeight + 12
    hoverEnabled: true
    Accessible.name: title
    background: Rectangle { color: row.hovered ? Style.hover : "transparent"; radius: 6 }

    contentItem: RowLayout {
        id: content
        spacing: Style.spacing

        AbstractButton {
            id: check
            objectName: "check"
            implicitWidth: 18
            implicitHeight: 18
            Layout.alignment: Qt.AlignVCenter
            Accessible.name: panel.checkToolTip(row.done)
            ToolTip.visible: hovered
            ToolTip.delay: 600
            ToolTip.text: Accessible.name
            onClicked: row.toggled(row.itemId)
            contentItem: Item {}
            background: Rectangle {
                radius: width / 2
                color: row.done ? Style.done : "transparent"
                border.width: row.done ? 0 : 1.5
                border.color: check.activeFocus ? Style.accent : Style.secondaryText
                Label {
                    anchors.centerIn: parent
                    visible: row.done
                    text: "✓"
                    color: Style.accentText
                    font.pixelSize: 11
                    font.weight: Font.Bold
                }
            }
        }

        ColumnLayout {
            Layout.fillWidth: true
            spacing: 1
            Label {
                text: row.title
                textFormat: Text.PlainText
                elide: Text.ElideRight
                maximumLineCount: 1
                color: row.done ? Style.secondaryText : Style.text
                Layout.fillWidth: true
                // A title cut short shows whole over the row.
                HoverHandler { id: titleHover }
                ToolTip.visible: truncated && titleHover.hovered
                ToolTip.delay: 800
                ToolTip.text: text
            }
            Label {
                visible: row.source.length > 0
                text: row.source
                textFormat: Text.PlainText
                elide: Text.ElideRight
                maximumLineCount: 1
                color: Style.secondaryText
                font.pixelSize: Style.smallFont
                Layout.fillWidth: true
            }
        }
    }
}
