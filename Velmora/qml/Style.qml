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

    // List
    readonly property int rowHeight: 34
    readonly property int rowRadius: 6
    readonly property color selection: dark ? "#2b3956" : "#dce5f7"
    // The tick on a done item's round check (white on green, dark on the dark scheme's green).
    readonly property color checkMark: dark ? "#111318" : "#ffffff"
    readonly property color controlHover: dark ? "#3b4049" : "#e2e0db"
    readonly property color seam: dark ? "#33373f" : "#e2e0db"
    readonly property color seamActive: dark ? "#4b5362" : "#c6c3bc"
    readonly property color star: dark ? "#f0c14b" : "#c58a0c"
    readonly property color flag: dark ? "#f28c5e" : "#d0521b"
    readonly property color aiMark: dark ? "#b9a0f4" : "#7651c4"
    readonly property color warningFill: dark ? "#3a3125" : "#fcefdc"
    readonly property color warningBorder: dark ? "#5b4a2f" : "#f0d5ab"
    readonly property color chipFill: dark ? "#2a2e35" : "#ebe9e4"
    // Fusion draws the rims of switches and radio buttons from the window colour, which
    // vanishes on the dark scheme; those controls take this one instead.
    readonly property color controlFrame: dark ? "#a3a9b2" : window
    // A switch's knob, which Fusion fills with the button colour: on the dark scheme that is
    // the track's own grey, so an "off" switch showed no knob at all.
    readonly property color switchKnob: dark ? "#6d737d" : raised
    readonly property color chipHover: dark ? "#343841" : "#e1dfd9"
    readonly property color chipText: text
    readonly property color chipCount: secondaryText
    readonly property color chipSelectedFill: accent
    readonly property color chipSelectedText: dark ? "#111318" : "#ffffff"
    readonly property color linkFill: dark ? "#28324a" : "#e7edf9"
    readonly property color linkHover: dark ? "#31405f" : "#d9e3f6"
    readonly property color linkText: accent
    readonly property color badgeFill: dark ? "#2b2f37" : "#ffffff"
    readonly property color badgeBorder: separator
    readonly property color toastFill: dark ? "#3a3f49" : "#2b2f36"
    readonly property color toastText: dark ? "#eeece8" : "#f3f1ed"
    readonly property color toastAction: dark ? "#a9c2f7" : "#a9c2f7"
    readonly property color toastActionHover: dark ? "#4a505b" : "#3b4049"

    readonly property color channelSelf: dark ? "#6cc3b5" : "#2a7d70"
    readonly property color channelTeams: dark ? "#a7a9f3" : "#5558c0"
    readonly property color channelEmail: dark ? "#80b7e8" : "#2a6fae"
    readonly property color channelMeeting: dark ? "#e996bd" : "#ad4677"
    readonly property color channelOther: secondaryText

    function channelColor(channel) {
        return channel === "self" ? channelSelf
             : channel === "teams" ? channelTeams
             : channel === "email" ? channelEmail
             : channel === "meeting" ? channelMeeting : channelOther
    }
    // The channel's colour, faint, behind its pill.
    function channelFill(channel) {
        const c = channelColor(channel)
        return Qt.rgba(c.r, c.g, c.b, dark ? 0.2 : 0.12)
    }
}
