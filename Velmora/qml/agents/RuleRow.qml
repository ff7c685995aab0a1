import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import ".."

// One standing rule: what it does, who made it and why, how often it acted, and the switch
// that pauses it. The context menu (right click, Menu key) also deletes.
Item {
    id: row
    required property string ruleId
    required property string sentence
    required property string author
    required property string reason
    required property string history
    required property bool paused
    required property string pauseLabel
    required property string pauseToolTip
    property bool current: false
    signal togglePause()
    signal menuRequested(real x, real y)

    implicitHeight: column.implicitHeight + 2 * Style.spacing + 1
    Accessible.role: Accessible.ListItem
    Accessible.name: sentence + (paused ? ", paused" : "")

    Rectangle {
        anchors.fill: parent
        anchors.bottomMargin: 1
        radius: Style.rowRadius
        color: row.current ? Style.selection : "transparent"
    }
    TapHandler {
        acceptedButtons: Qt.RightButton
        onTapped: (point) => row.menuRequested(point.position.x, point.position.y)
    }

    RowLayout {
        anchors { left: parent.left; right: parent.right; top: parent.top
                  margins: Style.spacing; leftMargin: 4; rightMargin: 4 }
        spacing: Style.spacing
        ColumnLayout {
            id: column
            Layout.fillWidth: true
            spacing: 3
            RowLayout {
                Layout.fillWidth: true
                spacing: 6
                Label {
                    objectName: "ruleSentence"
                    Layout.fillWidth: true
                    text: row.sentence
                    textFormat: Text.PlainText
                    wrapMode: Text.WordWrap
                    opacity: row.paused ? 0.5 : 1
                    Behavior on opacity { NumberAnimation { duration: 160; easing.type: Easing.OutCubic } }
                }
                Rectangle {
                    Layout.alignment: Qt.AlignTop
                    implicitWidth: authorLabel.implicitWidth + 10
                    implicitHeight: authorLabel.implicitHeight + 2
                    radius: height / 2
                    color: row.author === "You" ? Style.chipFill : Qt.rgba(Style.aiMark.r, Style.aiMark.g, Style.aiMark.b, 0.15)
                    Label {
                        id: authorLabel
                        anchors.centerIn: parent
                        text: row.author
                        font.pixelSize: Style.smallFont
                        color: row.author === "You" ? Style.secondaryText : Style.aiMark
                    }
                }
            }
            Label {
                Layout.fillWidth: true
                visible: text.length > 0
                text: row.reason
                textFormat: Text.PlainText
                wrapMode: Text.WordWrap
                color: Style.secondaryText
            }
            Label {
                objectName: "ruleHistory"
                Layout.fillWidth: true
                text: row.history
                font.pixelSize: Style.smallFont
                color: Style.secondaryText
            }
        }
        Button {
            objectName: "pauseButton"
            Layout.alignment: Qt.AlignTop
            text: row.pauseLabel
            flat: true
            ToolTip.visible: hovered
            ToolTip.delay: 600
            ToolTip.text: row.pauseToolTip
            Accessible.description: row.pauseToolTip
            onClicked: row.togglePause()
        }
    }
    Rectangle {
        anchors.bottom: parent.bottom
        width: parent.width
        height: 1
        color: Style.separator
    }
}
