pragma Singleton
import QtQuick

// The one look of the app: every screen takes its colours and measures from here, in light
// and dark. `dark` is set by the app from the appearance setting and the desktop.
QtObject {
    property bool dark: false

    readonly property color window: dark ? "#1d1f23" : "#f5f4f1"
    readonly property color surface: dark ? "#262930" : "#ffffff"
    readonly property color raised: dark ? "#2e323a" : "#ecebe7"
    readonly property color text: dark ? "#e7e5e1" : "#1f2328"
    readonly property color secondaryText: dark ? "#9aa0a8" : "#676c73"
    readonly property color separator: dark ? "#3a3e46" : "#dfddd8"
    readonly property color accent: dark ? "#86a8f0" : "#3559b8"
    readonly property color onAccent: dark ? "#111318" : "#ffffff"
    readonly property color warning: dark ? "#f2b25c" : "#a14f00"
    readonly property color done: dark ? "#6fbf8e" : "#2f8a56"
    readonly property color hover: dark ? "#30343c" : "#eeece8"

    readonly property color sectionAction: dark ? "#e7807a" : "#c8463f"
    readonly property color sectionWaiting: dark ? "#e6bd63" : "#b7831b"
    readonly property color sectionNote: dark ? "#7fa6ee" : "#4a73c9"

    readonly property int spacing: 8
    readonly property int padding: 12
    readonly property int radius: 8
    readonly property int smallFont: 11
    readonly property int bodyFont: 13
    readonly property int titleFont: 17
    readonly property int heroFont: 28

    // Forms
    readonly property color destructive: dark ? "#f0877e" : "#b3261e"
    readonly property color formBar: dark ? "#23262c" : "#f0efeb"
    // Text on the accent; a name that starts with "on" and a capital reads as a handler.
    readonly property color accentText: dark ? "#111318" : "#ffffff"
    readonly property int formLabelWidth: 72
    readonly property int noteMinHeight: 110

    function sectionColor(section) {
        return section === "waiting" ? sectionWaiting
             : section === "note" ? sectionNote : sectionAction
    }
}
