import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora

// A sample row of the showcase: a section stripe or a verb pill, a title, a detail line and,
// for a suggestion, an "Accept" mark. Not interactive.
RowLayout {
    property color stripe: "transparent"
    property string verb: ""
    property string title: ""
    property string detail: ""
    property bool accept: false
    spacing: Style.spacing

    Rectangle {
        visible: verb.length === 0
        Layout.preferredWidth: 3
        Layout.preferredHeight: lines.implicitHeight
        radius: 1.5
        color: stripe
    }
    Rectangle {
        visible: verb.length > 0
        Layout.alignment: Qt.AlignTop
        implicitWidth: verbLabel.implicitWidth + 12
        implicitHeight: verbLabel.implicitHeight + 4
        radius: height / 2
        color: Style.raised
        Label {
            id: verbLabel
            anchors.centerIn: parent
            text: verb
            font.pixelSize: Style.smallFont
            font.weight: Font.DemiBold
        }
    }
    ColumnLayout {
        id: lines
        Layout.fillWidth: true
        spacing: 2
        Label {
            text: title
            wrapMode: Text.WordWrap
            Layout.fillWidth: true
        }
        Label {
            visible: detail.length > 0
            text: detail
            color: Style.secondaryText
            font.pixelSize: Style.smallFont
            wrapMode: Text.WordWrap
            Layout.fillWidth: true
        }
    }
    Label {
        visible: accept
        text: "Accept"
        color: Style.accent
        font.pixelSize: Style.smallFont
        Layout.alignment: Qt.AlignTop
    }
}
