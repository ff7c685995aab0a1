import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import ".."

// A help document as a scrolling page of cards, with the way back above it.
ColumnLayout {
    id: page
    property var cards: []
    property string backLabel
    signal back()
    spacing: Style.spacing

    IconButton {
        objectName: "helpBack"
        text: page.backLabel
        iconSource: "qrc:/velmora/icons/chevron-left.svg"
        onClicked: page.back()
        Keys.onEscapePressed: page.back()
        Component.onCompleted: forceActiveFocus()
    }
    ListView {
        objectName: "helpCards"
        Layout.fillWidth: true
        Layout.fillHeight: true
        clip: true
        spacing: Style.spacing
        model: page.cards
        boundsBehavior: Flickable.StopAtBounds
        ScrollBar.vertical: ScrollBar {}
        delegate: HelpCard {
            required property var modelData
            width: ListView.view.width - 10
            title: modelData.title
            body: modelData.body
            rows: modelData.rows
        }
    }
}
