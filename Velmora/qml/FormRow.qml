import QtQuick
import QtQuick.Layouts
import QtQuick.Controls
import Velmora

// One metadata row of a form: its name on the left, its controls beside it.
RowLayout {
    id: row
    property string label
    default property alias content: holder.data
    spacing: Style.spacing
    Layout.fillWidth: true

    Label {
        text: row.label
        color: Style.secondaryText
        Layout.preferredWidth: Style.formLabelWidth
        Layout.alignment: Qt.AlignVCenter
        elide: Text.ElideRight
    }
    RowLayout {
        id: holder
        spacing: Style.spacing
        Layout.fillWidth: true
    }
}
