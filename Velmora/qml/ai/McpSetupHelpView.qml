import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import Velmora.Forms
import ".."

// The steps that connect an agent over MCP, opened from the empty Updates tab. A note with a
// link opens Connections, or its sample prompts.
ScrollView {
    id: guide
    objectName: "mcpSetupHelp"
    readonly property var doc: HelpPages.mcpSetup
    contentWidth: availableWidth
    clip: true

    component Note: ColumnLayout {
        property var note
        property int number: 0
        spacing: 4
        RowLayout {
            spacing: Style.spacing
            Rectangle {
                visible: number > 0
                implicitWidth: 22
                implicitHeight: 22
                radius: 11
                color: Style.accent
                Label {
                    anchors.centerIn: parent
                    text: number
                    color: Style.accentText
                    font.pixelSize: Style.smallFont
                    font.weight: Font.DemiBold
                }
            }
            Label {
                text: note?.title ?? ""
                font.weight: Font.DemiBold
            }
        }
        Label {
            Layout.fillWidth: true
            wrapMode: Text.WordWrap
            text: note?.body ?? ""
        }
        IconButton {
            visible: (note?.link ?? "").length > 0
            text: (note?.linkLabel ?? "") + " →"
            onClicked: app.router.openFromSetup(note.link)
        }
    }

    ColumnLayout {
        width: guide.availableWidth
        spacing: Style.spacing * 1.5
        IconButton {
            objectName: "backToUpdates"
            text: "Back to your updates"
            iconSource: "qrc:/velmora/icons/chevron-left.svg"
            onClicked: app.router.aiSetupOpen = false
        }
        Label {
            objectName: "guideTitle"
            text: guide.doc.title
            font.pixelSize: Style.titleFont
            font.weight: Font.DemiBold
        }
        Label {
            Layout.fillWidth: true
            wrapMode: Text.WordWrap
            color: Style.secondaryText
            text: guide.doc.lead
        }
        Repeater {
            model: guide.doc.steps
            Note {
                Layout.fillWidth: true
                note: modelData
                number: index + 1
            }
        }
        Label {
            text: guide.doc.tryHeading
            font.pixelSize: Style.bodyFont + 2
            font.weight: Font.DemiBold
        }
        Repeater {
            model: guide.doc.tryNotes
            Note {
                Layout.fillWidth: true
                note: modelData
            }
        }
        Note {
            Layout.fillWidth: true
            note: guide.doc.trouble
        }
    }
}
