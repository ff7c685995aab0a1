import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import ".."

// A one-off strip that points at a screen's help; its owner remembers the dismissal.
Rectangle {
    id: hint
    property string title
    property string line
    property bool hasHelp: false
    signal help()
    signal dismissed()

    implicitWidth: 360
    implicitHeight: row.implicitHeight + 2 * Style.spacing
    radius: Style.radius
    color: Style.linkFill
    Accessible.role: Accessible.Grouping
    Accessible.name: title

    RowLayout {
        id: row
        anchors { fill: parent; margins: Style.spacing; leftMargin: Style.padding }
        spacing: Style.spacing
        Column {
            Layout.fillWidth: true
            spacing: 2
            Label {
                width: parent.width
                text: hint.title
                textFormat: Text.PlainText
                wrapMode: Text.WordWrap
                font.weight: Font.DemiBold
            }
            Label {
                width: parent.width
                text: hint.line
                textFormat: Text.PlainText
                wrapMode: Text.WordWrap
                color: Style.secondaryText
            }
        }
        IconButton {
            visible: hint.hasHelp
            iconSource: "qrc:/velmora/icons/help.svg"
            toolTipText: "What this screen means"
            onClicked: hint.help()
        }
        Button {
            text: "Got it"
            Accessible.name: text
            onClicked: hint.dismissed()
        }
    }
}
