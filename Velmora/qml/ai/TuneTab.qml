import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import Velmora.AI
import ".."

// The AI pane's Tune tab: what the briefing weighs more heavily, and the findings it has
// been told to leave alone.
ScrollView {
    id: tab
    objectName: "tuneTab"
    property alias model: tune
    contentWidth: availableWidth
    clip: true

    TunePanelModel {
        id: tune
        store: app.store
    }

    ColumnLayout {
        width: tab.availableWidth
        spacing: Style.spacing

        RowLayout {
            Layout.fillWidth: true
            Label {
                Layout.fillWidth: true
                text: "FOCUS"
                font.pixelSize: Style.smallFont
                font.weight: Font.DemiBold
                color: Style.secondaryText
            }
            Label {
                objectName: "focusCount"
                text: tune.countText
                font.pixelSize: Style.smallFont
                color: Style.secondaryText
            }
        }
        Label {
            Layout.fillWidth: true
            wrapMode: Text.WordWrap
            text: "Your briefing weighs these more heavily when it decides what to lead with. It won't move an item between sections or call something urgent just for matching."
            color: Style.secondaryText
        }
        Label {
            objectName: "focusEmpty"
            Layout.fillWidth: true
            visible: tune.focus.length === 0
            wrapMode: Text.WordWrap
            text: "Nothing set — your briefing weighs everything the same."
            color: Style.secondaryText
        }
        Repeater {
            model: tune.focus
            delegate: Rectangle {
                objectName: "focusRow"
                required property string modelData
                Layout.fillWidth: true
                implicitHeight: Style.rowHeight
                radius: Style.rowRadius
                color: Style.surface
                border.color: Style.separator
                RowLayout {
                    anchors.fill: parent
                    anchors.leftMargin: Style.padding
                    anchors.rightMargin: 4
                    Label {
                        Layout.fillWidth: true
                        text: modelData
                        textFormat: Text.PlainText
                        elide: Text.ElideRight
                    }
                    Button {
                        objectName: "removeFocus"
                        text: "Remove"
                        flat: true
                        enabled: !tune.saving
                        Accessible.name: "Remove “" + modelData + "”"
                        onClicked: tune.remove(modelData)
                    }
                }
            }
        }
        RowLayout {
            Layout.fillWidth: true
            visible: !tune.full
            spacing: Style.spacing
            TextField {
                id: draftField
                objectName: "focusDraft"
                Layout.fillWidth: true
                placeholderText: "Add a person or a project"
                text: tune.draft
                maximumLength: 200
                onTextEdited: tune.draft = text
                onAccepted: tune.add()
            }
            Button {
                objectName: "addFocus"
                text: "Add"
                enabled: tune.addable
                onClicked: tune.add()
            }
        }
        Label {
            objectName: "focusFull"
            visible: tune.full
            text: "That's all 10"
            color: Style.secondaryText
        }
        Label {
            objectName: "focusDuplicate"
            visible: tune.duplicate
            text: "You already have that one."
            color: Style.warning
        }

        Rectangle {
            Layout.fillWidth: true
            Layout.topMargin: Style.padding
            implicitHeight: 1
            color: Style.separator
        }

        Label {
            Layout.topMargin: Style.spacing
            text: "ALREADY HANDLED"
            font.pixelSize: Style.smallFont
            font.weight: Font.DemiBold
            color: Style.secondaryText
        }
        Label {
            Layout.fillWidth: true
            wrapMode: Text.WordWrap
            text: "Findings you've acted on. Your briefing leaves these alone for 30 days — remove one to let it come back."
            color: Style.secondaryText
        }
        Label {
            objectName: "handledState"
            Layout.fillWidth: true
            wrapMode: Text.WordWrap
            visible: text !== ""
            color: tune.handledFailed ? Style.warning : Style.secondaryText
            text: tune.handledFailed ? "Couldn't load these."
                : !tune.handledLoaded ? "Loading…"
                : tune.handled.length === 0 ? "Nothing yet. Findings you act on in a briefing land here."
                : ""
        }
        Repeater {
            model: tune.handled
            delegate: Rectangle {
                objectName: "handledRow"
                required property var modelData
                Layout.fillWidth: true
                implicitHeight: handledLine.implicitHeight + 2 * Style.spacing
                radius: Style.rowRadius
                color: Style.surface
                border.color: Style.separator
                RowLayout {
                    id: handledLine
                    anchors.verticalCenter: parent.verticalCenter
                    anchors.left: parent.left
                    anchors.right: parent.right
                    anchors.leftMargin: Style.padding
                    anchors.rightMargin: 4
                    ColumnLayout {
                        Layout.fillWidth: true
                        spacing: 2
                        Label {
                            Layout.fillWidth: true
                            text: modelData.label
                            textFormat: Text.PlainText
                            elide: Text.ElideRight
                        }
                        Label {
                            Layout.fillWidth: true
                            text: modelData.subtitle
                            textFormat: Text.PlainText
                            elide: Text.ElideRight
                            font.pixelSize: Style.smallFont
                            color: Style.secondaryText
                        }
                    }
                    Button {
                        objectName: "letComeBack"
                        text: "Let it come back"
                        flat: true
                        enabled: tune.removing !== modelData.id
                        ToolTip.visible: hovered
                        ToolTip.delay: 600
                        ToolTip.text: "Let this finding come back"
                        onClicked: tune.letComeBack(modelData.id)
                    }
                }
            }
        }
        Item { Layout.fillHeight: true }
    }
}
