import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import "list"

// The tray panel: what is due now, with ticks, and the way into the main window. A window,
// not a menu; it closes when it loses focus.
VWindow {
    id: window
    objectName: "panelWindow"
    title: "Velmora"
    width: 360
    height: Math.min(Math.max(content.implicitHeight + 2 * Style.padding, 160), 520)
    flags: Qt.Tool | Qt.FramelessWindowHint
    visible: false

    onVisibleChanged: if (visible) panel.opened()
    onActiveChanged: if (!active && visible) hide()

    Shortcut {
        sequence: "Escape"
        onActivated: window.hide()
    }

    Rectangle {
        anchors.fill: parent
        color: "transparent"
        border.color: Style.separator
    }

    ColumnLayout {
        id: content
        anchors.fill: parent
        anchors.margins: Style.padding
        spacing: Style.spacing

        // --- connected ---
        RowLayout {
            visible: store.hasToken
            Layout.fillWidth: true
            spacing: Style.spacing
            Label {
                text: "Due Now"
                font.weight: Font.DemiBold
            }
            Label {
                objectName: "offlineMark"
                visible: store.isOffline
                text: "Offline"
                color: Style.warning
                font.pixelSize: Style.smallFont
                HoverHandler { id: offlineHover }
                ToolTip.visible: offlineHover.hovered
                ToolTip.text: "Changes are saved locally and will sync when the connection returns"
            }
            // Made only while shown: a running animation in a hidden window never ends,
            // and it would keep the animation timer ticking.
            Loader {
                active: store.isLoading && window.visible
                Layout.preferredWidth: 16
                Layout.preferredHeight: 16
                sourceComponent: BusyIndicator { running: true }
            }
            Item { Layout.fillWidth: true }
            Label {
                objectName: "dueCount"
                visible: panel.dueCount > 0
                text: panel.dueCount
                color: Style.secondaryText
            }
        }

        ListView {
            objectName: "panelRows"
            visible: store.hasToken && count > 0
            Layout.fillWidth: true
            Layout.preferredHeight: Math.min(contentHeight, 360)
            clip: true
            model: panel.rows
            boundsBehavior: Flickable.StopAtBounds
            ScrollBar.vertical: ScrollBar {}
            delegate: CompactRow {
                width: ListView.view.width
                onToggled: id => panel.toggle(id)
            }
        }
        Label {
            visible: store.hasToken && panel.rows.count === 0
            text: "Nothing due now."
            color: Style.secondaryText
        }

        // --- not connected ---
        Label {
            visible: !store.hasToken
            text: "Not connected"
            font.weight: Font.DemiBold
        }
        Label {
            visible: !store.hasToken
            text: "Paste a connection token to see your list."
            color: Style.secondaryText
            wrapMode: Text.WordWrap
            Layout.fillWidth: true
        }

        Rectangle {
            Layout.fillWidth: true
            Layout.preferredHeight: 1
            color: Style.separator
        }

        Flow {
            Layout.fillWidth: true
            spacing: 4
            PanelButton {
                text: store.hasToken ? "Open" : "Set up…"
                onClicked: { window.hide(); app.openMainWindow() }
            }
            PanelButton {
                visible: store.hasToken
                text: "Briefing"
                onClicked: { window.hide(); app.openAI() }
                Accessible.name: store.briefingUnread ? "Briefing, new" : "Briefing"
                Rectangle {
                    objectName: "panelBriefingDot"
                    visible: store.briefingUnread
                    width: 7
                    height: 7
                    radius: 3.5
                    color: Style.accent
                    anchors { top: parent.top; right: parent.right; topMargin: 3; rightMargin: 3 }
                }
            }
            PanelButton {
                visible: store.hasToken
                text: "Rules"
                onClicked: { window.hide(); app.openRules() }
            }
            PanelButton {
                visible: store.hasToken
                text: "Settings…"
                onClicked: { window.hide(); app.openSettings() }
            }
            PanelButton {
                text: "Quit"
                onClicked: app.quit()
            }
        }
    }
}
