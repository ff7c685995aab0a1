import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import Velmora.Forms
import ".."

// The standing rules: what filters every suggestion, paused or not, and a form to add one.
Item {
    id: view
    objectName: "rulesView"
    property alias model: rules

    RulesViewModel {
        id: rules
        store: app.store
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: Style.spacing

        RowLayout {
            Layout.fillWidth: true
            spacing: Style.spacing
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 2
                Label {
                    objectName: "screenTitle"
                    text: "Rules"
                    font.pixelSize: Style.titleFont
                    font.weight: Font.DemiBold
                }
                Label {
                    Layout.fillWidth: true
                    text: "Standing filters applied to everything your AI agent suggests."
                    wrapMode: Text.WordWrap
                    color: Style.secondaryText
                }
            }
            Button {
                objectName: "addRuleButton"
                Accessible.name: text
                Layout.alignment: Qt.AlignTop
                text: rules.adding ? "Close" : "Add a rule"
                ToolTip.visible: hovered
                ToolTip.delay: 600
                ToolTip.text: "Create a rule right here — same form as the website"
                onClicked: rules.adding = !rules.adding
            }
        }

        Loader {
            objectName: "composerLoader"
            Layout.fillWidth: true
            active: rules.adding
            visible: active
            sourceComponent: RuleComposer {
                onCreated: rules.adding = false
                onCancel: rules.adding = false
            }
        }

        Rectangle {
            Layout.fillWidth: true
            implicitHeight: 1
            color: Style.separator
            visible: list.count > 0
        }

        ListView {
            id: list
            objectName: "ruleRows"
            Layout.fillWidth: true
            Layout.fillHeight: true
            visible: count > 0
            clip: true
            model: rules.rules
            activeFocusOnTab: true
            keyNavigationEnabled: true
            onCountChanged: if (currentIndex < 0 && count > 0) currentIndex = 0
            boundsBehavior: Flickable.StopAtBounds
            ScrollBar.vertical: ScrollBar {}
            Accessible.role: Accessible.List
            Accessible.name: "Rules"
            delegate: RuleRow {
                width: list.width - 10
                current: ListView.isCurrentItem && list.activeFocus
                onTogglePause: rules.togglePause(ruleId)
                onMenuRequested: (x, y) => {
                    menu.ruleId = ruleId
                    menu.paused = paused
                    menu.popup()
                }
            }
            Keys.onMenuPressed: if (currentItem) currentItem.menuRequested(0, 0)
            Keys.onPressed: event => {
                if (currentItem && event.key === Qt.Key_F10 && (event.modifiers & Qt.ShiftModifier)) {
                    currentItem.menuRequested(0, 0)
                    event.accepted = true
                }
            }
            Keys.onDeletePressed: if (currentItem) rules.requestDelete(currentItem.ruleId)
        }

        ColumnLayout {
            objectName: "noRules"
            Layout.fillWidth: true
            Layout.fillHeight: true
            visible: list.count === 0 && !rules.adding
            spacing: Style.spacing
            Item { Layout.preferredHeight: Style.padding }
            Label {
                Layout.alignment: Qt.AlignHCenter
                text: "No rules yet"
                font.weight: Font.DemiBold
            }
            Label {
                Layout.fillWidth: true
                Layout.maximumWidth: 360
                Layout.alignment: Qt.AlignHCenter
                horizontalAlignment: Text.AlignHCenter
                text: "When you turn down the same kind of suggestion a few times, your AI agent proposes a rule. Accept it in the usual review and the app filters those before they reach you."
                wrapMode: Text.WordWrap
                color: Style.secondaryText
            }
            Button {
                objectName: "addFirstRule"
                Accessible.name: text
                Layout.alignment: Qt.AlignHCenter
                text: "Add a rule"
                onClicked: rules.adding = true
            }
            Item { Layout.fillHeight: true }
        }
        Item {
            Layout.fillHeight: true
            visible: list.count === 0 && rules.adding
        }
    }

    Menu {
        id: menu
        objectName: "ruleMenu"
        property string ruleId
        property bool paused: false
        MenuItem {
            text: menu.paused ? "Resume" : "Pause"
            onTriggered: rules.togglePause(menu.ruleId)
        }
        MenuSeparator {}
        MenuItem {
            text: "Delete"
            onTriggered: rules.requestDelete(menu.ruleId)
        }
    }

    AlertDialog {
        objectName: "deleteRuleDialog"
        wanted: rules.confirmingDelete.length > 0
        title: "Delete this rule?"
        message: "Your AI agent will start suggesting these things again."
        onClosed: rules.cancelDelete()
        Button {
            objectName: "keepRule"
            Accessible.name: text
            text: "Keep"
            onClicked: rules.cancelDelete()
        }
        Button {
            objectName: "deleteRule"
            Accessible.name: text
            text: "Delete"
            palette.buttonText: Style.destructive
            onClicked: rules.confirmDelete()
        }
    }
}
