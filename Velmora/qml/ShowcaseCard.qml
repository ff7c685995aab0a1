import QtQuick
import Velmora

// One panel of the sign-in showcase.
Rectangle {
    color: Style.surface
    radius: Style.radius
    border.color: Style.separator
    default property alias content: inner.data

    Item {
        id: inner
        anchors.fill: parent
        anchors.margins: 20
    }
}
