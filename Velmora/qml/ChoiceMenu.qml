import QtQuick
import QtQuick.Controls

// A picker inside a menu: one checkable item per choice ({value, label}), the current one
// ticked.
Menu {
    id: menu
    property var choices: []
    property string current: ""
    signal chosen(string value)

    ActionGroup { id: group }

    Instantiator {
        model: menu.choices
        delegate: MenuItem {
            required property var modelData
            text: modelData.label
            checkable: true
            checked: modelData.value === menu.current
            ActionGroup.group: group
            onTriggered: menu.chosen(modelData.value)
        }
        onObjectAdded: (index, object) => menu.insertItem(index, object)
        onObjectRemoved: (index, object) => menu.removeItem(object)
    }
}
