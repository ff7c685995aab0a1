import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import Velmora.Connections
import ".."

// Ready-made prompts to paste into an agent, one card at a time.
ColumnLayout {
    id: panel
    property alias model: prompts
    spacing: Style.spacing

    SamplePromptsModel {
        id: prompts
        Component.onCompleted: load()
    }

    Label {
        text: "Sample AI Prompts"
        font.pixelSize: Style.bodyFont + 2
        font.weight: Font.DemiBold
    }
    Label {
        Layout.fillWidth: true
        wrapMode: Text.WordWrap
        color: Style.secondaryText
        text: "Ready-to-paste jobs for your connected AI — a nightly review, an urgent watchdog, and more. Updated from the server, so they improve without an app update."
    }
    Rectangle {
        Layout.fillWidth: true
        visible: prompts.hasPrompt
        implicitHeight: card.implicitHeight + Style.padding * 2
        radius: Style.radius
        color: Style.raised
        ColumnLayout {
            id: card
            anchors.fill: parent
            anchors.margins: Style.padding
            spacing: 4
            Label {
                objectName: "promptTitle"
                text: prompts.title
                textFormat: Text.PlainText
                font.weight: Font.DemiBold
            }
            Label {
                Layout.fillWidth: true
                text: prompts.subtitle
                textFormat: Text.PlainText
                wrapMode: Text.WordWrap
                color: Style.secondaryText
            }
            ScrollView {
                Layout.fillWidth: true
                Layout.preferredHeight: 140
                TextArea {
                    objectName: "promptText"
                    readOnly: true
                    selectByMouse: true
                    wrapMode: TextEdit.Wrap
                    textFormat: TextEdit.PlainText
                    text: prompts.text
                    Accessible.name: prompts.title
                }
            }
        }
    }
    RowLayout {
        spacing: Style.spacing
        Button {
            objectName: "copyPrompt"
            text: prompts.copied ? "Copied" : "Copy this prompt"
            highlighted: true
            enabled: prompts.hasPrompt
            Accessible.name: text
            onClicked: prompts.copyCurrent()
        }
        IconButton {
            objectName: "previousPrompt"
            iconSource: "qrc:/velmora/icons/chevron-left.svg"
            toolTipText: "Previous prompt"
            onClicked: prompts.cycle(-1)
        }
        IconButton {
            objectName: "nextPrompt"
            iconSource: "qrc:/velmora/icons/chevron-right.svg"
            toolTipText: "Next prompt"
            onClicked: prompts.cycle(1)
        }
        Label {
            objectName: "promptCounter"
            text: prompts.counter
            color: Style.secondaryText
        }
    }
}
