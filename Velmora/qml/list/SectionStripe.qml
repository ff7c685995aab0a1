import QtQuick
import Velmora
import ".."

// Which list an item is on (action, waiting, note), as a thin bar in the section's colour.
Rectangle {
    property string section: "action"
    property bool dimmed: false

    implicitWidth: 3
    implicitHeight: 18
    radius: width / 2
    color: Style.sectionColor(section)
    opacity: dimmed ? 0.5 : 1
}
