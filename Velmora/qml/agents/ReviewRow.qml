import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import Velmora.Forms
import ".."

// One suggestion: its tag, what it would do, why, and the button that strikes it out or
// takes that back. An added task's title can be rewritten in place.
Column {
    id: row
    required property string deltaId
    required property string kind
    required property string verb
    required property string text
    required property string reason
    required property string channel
    required property string channelLabel
    required property string source
    required property bool isAdd
    required property bool high
    required property bool rejected
    required property bool ruleHeading
    property var review
    property bool current: false

    spacing: 0
    Accessible.role: Accessible.ListItem
    Accessible.name: verb + ": " + text + (rejected ? ", rejected" : "")

    Label {
        objectName: "ruleHeading"
        visible: row.ruleHeading
        width: parent.width
        topPadding: Style.spacing
        bottomPadding: 2
        text: row.review.ruleHeading
        textFormat: Text.PlainText
        wrapMode: Text.WordWrap
        font.pixelSize: Style.smallFont + 1
        font.weight: Font.DemiBold
        color: Style.secondaryText
    }

    Rectangle {
        width: parent.width
        height: line.implicitHeight + 2 * Style.spacing
        radius: Style.rowRadius
        color: row.current ? Style.selection : "transparent"

        RowLayout {
            id: line
            anchors { left: parent.left; right: parent.right; verticalCenter: parent.verticalCenter
                      leftMargin: 4; rightMargin: 4 }
            spacing: Style.spacing

            Rectangle {
                Layout.alignment: Qt.AlignTop
                Layout.topMargin: 3
                implicitWidth: 58
                implicitHeight: tag.implicitHeight + 4
                radius: 4
                readonly property color tint: row.kind === "add" ? Style.done
                                            : row.kind === "complete" ? Style.accent
                                            : row.kind === "update" ? Style.warning
                                            : row.kind === "remove" ? Style.destructive : Style.aiMark
                color: Qt.rgba(tint.r, tint.g, tint.b, Style.dark ? 0.22 : 0.13)
                opacity: row.rejected ? 0.5 : 1
                Label {
                    id: tag
                    anchors.centerIn: parent
                    text: row.verb
                    font.pixelSize: Style.smallFont
                    font.weight: Font.DemiBold
                    color: parent.tint
                }
            }

            ColumnLayout {
                Layout.fillWidth: true
                spacing: 3
                opacity: row.rejected ? 0.5 : 1
                Behavior on opacity { NumberAnimation { duration: 160; easing.type: Easing.OutCubic } }

                TextField {
                    objectName: "proposedTitle"
                    Layout.fillWidth: true
                    visible: row.isAdd
                    text: row.text
                    placeholderText: "Proposed item title"
                    font.strikeout: row.rejected
                    selectByMouse: true
                    Accessible.name: "Proposed item title"
                    onTextEdited: row.review.setTitle(row.deltaId, text)
                }
                Label {
                    objectName: "rowText"
                    Layout.fillWidth: true
                    visible: !row.isAdd
                    text: row.text
                    textFormat: Text.PlainText
                    wrapMode: Text.WordWrap
                    font.strikeout: row.rejected
                }
                Row {
                    visible: row.isAdd
                    spacing: 6
                    ChannelPill {
                        anchors.verticalCenter: parent.verticalCenter
                        channel: row.channel
                        label: row.channelLabel
                        compact: true
                    }
                    PriorityStars {
                        anchors.verticalCenter: parent.verticalCenter
                        priority: row.high ? "high" : "medium"
                    }
                    Label {
                        anchors.verticalCenter: parent.verticalCenter
                        visible: text.length > 0
                        text: row.source
                        textFormat: Text.PlainText
                        elide: Text.ElideRight
                        width: Math.min(implicitWidth, 200)
                        font.pixelSize: Style.smallFont
                        color: Style.secondaryText
                    }
                }
                Label {
                    Layout.fillWidth: true
                    visible: text.length > 0
                    text: row.reason
                    textFormat: Text.PlainText
                    wrapMode: Text.WordWrap
                    font.pixelSize: Style.smallFont + 1
                    color: Style.secondaryText
                }
            }

            Button {
                objectName: "decideButton"
                Layout.alignment: Qt.AlignTop
                text: row.rejected ? HelpPages.updatesWords.undo : HelpPages.updatesWords.reject
                flat: true
                Accessible.name: (row.rejected ? "Undo rejecting " : "Reject ") + row.text
                onClicked: row.review.toggleRejected(row.deltaId)
            }
        }
    }
    Rectangle {
        width: parent.width
        height: 1
        color: Style.separator
    }
}
