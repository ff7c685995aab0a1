import QtQuick
import QtQuick.Controls
import Velmora

// The settings window's AI tab: the briefing's schedule and the AI choices.
Label {
    text: "The daily briefing's schedule and the AI choices will be set here."
    color: Style.secondaryText
    wrapMode: Text.WordWrap
}
