import QtQuick
import Velmora

// One panel of the sign-in showcase.
Rectangle {
    color: Style.surface
    radius: Style.radius
    border.color: Style.separator
    default property alias content: inner.data
    // As tall as what it shows, so a short panel leaves no empty card below its rows.
    implicitHeight: (inner.children.length > 0 ? inner.children[0].implicitHeight : 0) +
                    2 * inner.anchors.margins

    Item {
        id: inner
        anchors.fill: parent
        anchors.margins: 20
    }
}
