import QtQuick
import QtQuick.Controls

ApplicationWindow {
    id: window
    title: "Velmora"
    width: 940
    height: 600
    minimumWidth: 860
    minimumHeight: 460
    visible: true

    Label {
        anchors.centerIn: parent
        text: "Velmora"
        textFormat: Text.PlainText
    }
}
