import QtQuick
import QtQuick.Controls

ToolButton {
    objectName: text
    Accessible.name: text
    focusPolicy: Qt.StrongFocus
}
