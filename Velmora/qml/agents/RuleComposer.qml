import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import Velmora.Forms
import ".."

// The form that makes one rule: what to do, when, and why. A refusal keeps what was typed.
Rectangle {
    id: composer
    objectName: "ruleComposer"
    property alias model: form
    signal created()
    signal cancel()

    implicitHeight: fields.implicitHeight + 2 * Style.padding
    radius: Style.radius
    color: Style.window
    border.width: 1
    border.color: Style.separator
    Keys.onEscapePressed: composer.cancel()

    RuleComposerModel {
        id: form
        store: app.store
        onCreated: composer.created()
    }

    // A picker over {value, label} choices, as a drop-down.
    component Picker: ComboBox {
        property var choices: []
        property string current
        signal chosen(string value)
        model: choices
        textRole: "label"
        valueRole: "value"
        currentIndex: choices.findIndex(choice => choice.value === current)
        onActivated: chosen(currentValue)
    }

    ColumnLayout {
        id: fields
        anchors { fill: parent; margins: Style.padding }
        spacing: Style.spacing

        RowLayout {
            Layout.fillWidth: true
            spacing: Style.spacing
            Picker {
                objectName: "rulePickAction"
                Accessible.name: "Action"
                choices: form.actionChoices
                current: form.action
                onChosen: value => form.action = value
            }
            Picker {
                objectName: "rulePickTarget"
                Accessible.name: "Move to"
                visible: form.showsTarget
                choices: form.targetChoices
                current: form.target
                onChosen: value => form.target = value
            }
        }
        RowLayout {
            Layout.fillWidth: true
            spacing: Style.spacing
            Label { text: "when" }
            Picker {
                objectName: "rulePickField"
                Accessible.name: "Field"
                choices: form.fieldChoices
                current: form.field
                onChosen: value => form.field = value
            }
            Picker {
                objectName: "rulePickOp"
                Accessible.name: "Operator"
                choices: form.opChoices
                current: form.op
                onChosen: value => form.op = value
            }
            TextField {
                objectName: "ruleValue"
                Layout.fillWidth: true
                placeholderText: "PTO"
                text: form.value
                selectByMouse: true
                Accessible.name: "Value"
                onTextEdited: form.value = text
                Component.onCompleted: forceActiveFocus()
            }
        }
        TextField {
            objectName: "ruleReason"
            Layout.fillWidth: true
            placeholderText: "Why — shown next to the rule"
            text: form.reason
            selectByMouse: true
            Accessible.name: "Reason"
            onTextEdited: form.reason = text
            onAccepted: form.create()
        }
        Label {
            objectName: "ruleError"
            Layout.fillWidth: true
            visible: text.length > 0
            text: form.error
            textFormat: Text.PlainText
            wrapMode: Text.WordWrap
            color: Style.destructive
        }
        RowLayout {
            Layout.fillWidth: true
            spacing: Style.spacing
            Item { Layout.fillWidth: true }
            BusyIndicator {
                visible: form.busy
                running: visible
                implicitWidth: 20
                implicitHeight: 20
            }
            Button {
                objectName: "ruleCancel"
                Accessible.name: text
                text: "Cancel"
                onClicked: composer.cancel()
            }
            Button {
                objectName: "ruleCreate"
                Accessible.name: text
                text: "Create rule"
                highlighted: true
                enabled: form.canCreate
                onClicked: form.create()
                Keys.onReturnPressed: form.create()
            }
        }
    }
}
