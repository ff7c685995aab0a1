import QtQuick
import Velmora

// An item's priority as stars: high ★★, medium ★☆, low ☆☆. Without alwaysShow only high
// shows, so a list marks what matters and stays quiet about the rest.
Text {
    property string priority: "medium"
    property bool alwaysShow: false

    readonly property bool shown: priority === "high" || (alwaysShow && (priority === "medium"
                                                                         || priority === "low"))
    visible: shown
    text: !shown ? "" : priority === "high" ? "★★" : priority === "medium" ? "★☆" : "☆☆"
    color: priority === "low" ? Style.secondaryText : Style.star
    font.pixelSize: Style.smallFont + 1
    font.letterSpacing: -1
    Accessible.role: Accessible.StaticText
    Accessible.name: !shown ? "" : priority === "high" ? "High priority"
                      : priority === "medium" ? "Medium priority" : "Low priority"
}
