import QtQuick
import QtQuick.Controls
import Velmora

// The settings window's Account tab: the account, its time zone and signing out.
Label {
    text: "Your account, its time zone and signing out will be managed here."
    color: Style.secondaryText
    wrapMode: Text.WordWrap
}
