import QtQuick
import QtQuick.Controls
import Velmora

// One card of a help page: a note, and under a heading the rows it explains.
Rectangle {
    id: card
    property string title
    property string body
    property var rows: []
    property bool showsSwipes: false

    implicitWidth: 360
    implicitHeight: content.implicitHeight + 2 * Style.padding
    radius: Style.radius
    color: Style.window
    border.width: 1
    border.color: Style.separator

    Column {
        id: content
        x: Style.padding
        y: Style.padding
        width: card.width - 2 * Style.padding
        spacing: Style.spacing + 2
        HelpNoteView {
            width: parent.width
            title: card.title
            body: card.body
        }
        Repeater {
            model: card.rows
            delegate: HelpActionRow {
                required property var modelData
                width: content.width
                label: modelData.label
                does: modelData.does
                swipe: modelData.swipe
                showsSwipe: card.showsSwipes
            }
        }
    }
}
