import QtQuick
import QtQuick.Controls
import Velmora

// Every window of the app: the style's colours for the window and the controls in it.
ApplicationWindow {
    color: Style.window
    palette.window: Style.window
    palette.windowText: Style.text
    palette.base: Style.surface
    palette.alternateBase: Style.raised
    palette.text: Style.text
    palette.button: Style.raised
    palette.buttonText: Style.text
    palette.highlight: Style.accent
    palette.highlightedText: Style.accentText
    palette.placeholderText: Style.secondaryText
    palette.mid: Style.separator
    palette.dark: Style.secondaryText
    palette.light: Style.surface
    palette.midlight: Style.hover
    palette.toolTipBase: Style.raised
    palette.toolTipText: Style.text
    palette.disabled.buttonText: Style.secondaryText
    palette.disabled.windowText: Style.secondaryText
    palette.disabled.text: Style.secondaryText
    palette.disabled.button: Style.hover
    font.pixelSize: Style.bodyFont

    // Tooltips can carry the server's text (an agent's name, a link's address), so the one
    // tooltip the controls share draws plain text only.
    Item {
        Component.onCompleted: {
            const tip = ToolTip.toolTip
            if (tip && tip.contentItem && tip.contentItem.textFormat !== undefined)
                tip.contentItem.textFormat = Text.PlainText
        }
    }
}
