import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import Velmora.AI
import ".."
import "../help"

// The AI pane's Briefing tab: today's briefing as cards with one-press actions, the run
// row, and the past briefings.
ScrollView {
    id: tab
    objectName: "briefingTab"
    property alias model: panel
    signal help()
    contentWidth: availableWidth
    clip: true

    BriefingPanelModel {
        id: panel
        store: app.store
        undo: mainWindow.undo
        prefs: app.prefs
    }

    // A button named by its label for screen readers, as Fusion's own isn't.
    component Act: Button {
        Accessible.name: text
    }
    component Caption: Label {
        font.pixelSize: Style.smallFont
        font.weight: Font.DemiBold
        color: Style.secondaryText
        textFormat: Text.PlainText
    }
    component Quiet: Label {
        Layout.fillWidth: true
        wrapMode: Text.WordWrap
        color: Style.secondaryText
        textFormat: Text.PlainText
    }
    component Chip: Label {
        font.pixelSize: Style.smallFont
        leftPadding: 6
        rightPadding: 6
        topPadding: 1
        bottomPadding: 1
        textFormat: Text.PlainText
        background: Rectangle { radius: height / 2; color: Style.chipFill }
    }
    // A finished briefing's rows: the task (or remark), its why, and what became of it.
    component RecordList: ColumnLayout {
        id: recordList
        property var sections: []
        Layout.fillWidth: true
        spacing: Style.spacing
        Repeater {
            model: recordList.sections
            delegate: ColumnLayout {
                required property var modelData
                Layout.fillWidth: true
                spacing: 4
                Caption { text: modelData.title }
                Repeater {
                    model: modelData.rows
                    delegate: ColumnLayout {
                        objectName: "recordRow"
                        required property var modelData
                        Layout.fillWidth: true
                        spacing: 0
                        Label {
                            Layout.fillWidth: true
                            text: modelData.title
                            textFormat: Text.PlainText
                            wrapMode: Text.WordWrap
                        }
                        Quiet {
                            visible: modelData.why !== ""
                            text: modelData.why
                            font.pixelSize: Style.smallFont
                        }
                        Quiet {
                            objectName: "recordLine"
                            text: modelData.line
                            font.pixelSize: Style.smallFont
                        }
                    }
                }
            }
        }
    }

    ColumnLayout {
        width: tab.availableWidth
        spacing: Style.spacing

        // --- latest ---
        ColumnLayout {
            visible: panel.mode === "latest"
            Layout.fillWidth: true
            spacing: Style.spacing

            RowLayout {
                Layout.fillWidth: true
                spacing: Style.spacing
                Act {
                    objectName: "runBriefing"
                    text: panel.running ? "Asking…" : "New briefing · 1 credit"
                    enabled: !panel.running && store.hasToken
                    onClicked: panel.run()
                }
                Act {
                    objectName: "refreshBriefing"
                    text: "Refresh"
                    ToolTip.visible: hovered
                    ToolTip.text: "Check for a briefing that has landed since"
                    onClicked: panel.load()
                }
                Item { Layout.fillWidth: true }
            }
            Rectangle {
                objectName: "briefingNotice"
                visible: panel.notice !== ""
                Layout.fillWidth: true
                implicitHeight: noticeText.implicitHeight + 2 * Style.spacing
                radius: Style.radius
                color: Style.linkFill
                Label {
                    id: noticeText
                    anchors { fill: parent; margins: Style.spacing }
                    text: panel.notice
                    textFormat: Text.PlainText
                    wrapMode: Text.WordWrap
                }
            }
            Quiet {
                objectName: "briefingLoadFailed"
                visible: panel.loadFailed
                text: "Couldn't load your briefing."
            }
            Quiet {
                objectName: "briefingStamp"
                visible: text !== ""
                text: panel.stamp
                font.pixelSize: Style.smallFont
            }
            ScreenHint {
                objectName: "briefingHint"
                visible: panel.showHint
                Layout.fillWidth: true
                title: "New to briefings?"
                line: "The ? above explains what all this means. For one every day, set a time in Settings — Ctrl+,"
                hasHelp: true
                onHelp: tab.help()
                onDismissed: panel.dismissHint()
            }
            Label {
                objectName: "briefingDealtWith"
                visible: panel.state === "dealt"
                Layout.fillWidth: true
                wrapMode: Text.WordWrap
                text: "Everything in this briefing has been dealt with."
            }
            RecordList {
                visible: panel.state === "dealt"
                sections: panel.records
            }

            Repeater {
                model: panel.state === "cards" ? panel.sections : []
                delegate: ColumnLayout {
                    id: section
                    required property var modelData
                    Layout.fillWidth: true
                    Layout.topMargin: Style.spacing
                    spacing: Style.spacing
                    Caption { text: section.modelData.title }
                    Repeater {
                        model: section.modelData.cards
                        delegate: Rectangle {
                            id: card
                            objectName: "findingCard"
                            required property var modelData
                            Layout.fillWidth: true
                            implicitHeight: cardColumn.implicitHeight + 2 * Style.padding
                            radius: Style.radius
                            color: Style.surface
                            border.color: Style.separator
                            Accessible.role: Accessible.Grouping
                            Accessible.name: modelData.title
                            ColumnLayout {
                                id: cardColumn
                                anchors { fill: parent; margins: Style.padding }
                                spacing: 4
                                Label {
                                    Layout.fillWidth: true
                                    text: card.modelData.title
                                    textFormat: Text.PlainText
                                    wrapMode: Text.WordWrap
                                    font.weight: Font.DemiBold
                                }
                                Quiet { text: card.modelData.why }
                                Flow {
                                    Layout.fillWidth: true
                                    spacing: Style.spacing
                                    Label {
                                        visible: card.modelData.source !== ""
                                        text: card.modelData.source
                                        textFormat: Text.PlainText
                                        font.pixelSize: Style.smallFont
                                        color: Style.secondaryText
                                    }
                                    Label {
                                        visible: card.modelData.due !== ""
                                        text: card.modelData.due
                                        font.pixelSize: Style.smallFont
                                        color: card.modelData.overdue ? Style.destructive
                                                                      : Style.secondaryText
                                    }
                                    Label {
                                        visible: card.modelData.high
                                        text: "★ High"
                                        font.pixelSize: Style.smallFont
                                        color: Style.star
                                    }
                                    Chip {
                                        objectName: "focusChip"
                                        visible: card.modelData.focused
                                        text: "Focus"
                                        color: Style.aiMark
                                    }
                                }
                                RowLayout {
                                    spacing: Style.spacing
                                    Repeater {
                                        model: card.modelData.buttons
                                        delegate: Act {
                                            required property var modelData
                                            objectName: "card " + modelData.label
                                            text: modelData.label
                                            Accessible.name: modelData.label + ", " + card.modelData.title
                                            onClicked: panel.press(section.modelData.kind,
                                                                   card.modelData.target,
                                                                   modelData.disposition)
                                        }
                                    }
                                }
                            }
                        }
                    }
                }
            }

            Caption {
                visible: panel.state === "cards" && panel.observations.length > 0
                Layout.topMargin: Style.spacing
                text: "OTHER OBSERVATIONS"
            }
            Repeater {
                model: panel.state === "cards" ? panel.observations : []
                delegate: Rectangle {
                    id: remark
                    objectName: "observationCard"
                    required property var modelData
                    Layout.fillWidth: true
                    implicitHeight: remarkColumn.implicitHeight + 2 * Style.padding
                    radius: Style.radius
                    color: Style.surface
                    border.color: Style.separator
                    ColumnLayout {
                        id: remarkColumn
                        anchors { fill: parent; margins: Style.padding }
                        spacing: 4
                        Label {
                            Layout.fillWidth: true
                            text: remark.modelData.text
                            textFormat: Text.PlainText
                            wrapMode: Text.WordWrap
                        }
                        Act {
                            objectName: "observationToggle"
                            visible: remark.modelData.toggle !== ""
                            flat: true
                            text: (remark.modelData.expanded ? "▾ " : "▸ ") + remark.modelData.toggle
                            Accessible.name: remark.modelData.toggle
                            onClicked: panel.toggleObservation(remark.modelData.slug)
                        }
                        Repeater {
                            model: remark.modelData.tasks
                            delegate: ItemDelegate {
                                id: taskRow
                                objectName: "observationTask"
                                required property var modelData
                                Layout.fillWidth: true
                                Accessible.name: modelData.title
                                onClicked: panel.showTask(modelData.id)
                                contentItem: Label {
                                    text: taskRow.modelData.title
                                    textFormat: Text.PlainText
                                    elide: Text.ElideRight
                                    color: Style.accent
                                    // A title cut short shows whole over the row.
                                    ToolTip.visible: truncated && taskRow.hovered
                                    ToolTip.delay: 800
                                    ToolTip.text: text
                                }
                            }
                        }
                        RowLayout {
                            spacing: Style.spacing
                            Repeater {
                                model: remark.modelData.buttons
                                delegate: Act {
                                    required property var modelData
                                    objectName: "observation " + modelData.label
                                    text: modelData.label
                                    onClicked: panel.press("observation", remark.modelData.slug,
                                                           modelData.disposition)
                                }
                            }
                        }
                    }
                }
            }

            Quiet {
                visible: panel.state === "loading"
                text: "Loading…"
            }
            ColumnLayout {
                objectName: "briefingEmpty"
                visible: panel.state === "none" || panel.state === "clear"
                Layout.fillWidth: true
                Layout.topMargin: Style.padding
                spacing: 4
                Label {
                    text: panel.state === "clear" ? "All clear" : "No briefing yet"
                    font.pixelSize: Style.titleFont
                    font.weight: Font.DemiBold
                }
                Quiet {
                    text: panel.state === "clear"
                          ? "Nothing needs you today. Good job."
                          : "A briefing reads your open list once a day and tells you what you'd miss by skimming it."
                }
            }

            Quiet {
                objectName: "briefingReadLine"
                Layout.topMargin: Style.padding
                visible: text !== ""
                text: panel.readLine
                font.pixelSize: Style.smallFont
            }
            Act {
                objectName: "pastBriefings"
                flat: true
                text: "Past briefings"
                onClicked: panel.showHistory()
            }
        }

        // --- history ---
        ColumnLayout {
            visible: panel.mode === "history"
            Layout.fillWidth: true
            spacing: Style.spacing
            Act {
                objectName: "latestBriefing"
                flat: true
                text: "‹ Latest briefing"
                Accessible.name: "Latest briefing"
                onClicked: panel.showLatest()
            }
            Label {
                text: "Past briefings"
                font.pixelSize: Style.titleFont
                font.weight: Font.DemiBold
            }
            Quiet {
                visible: panel.historyFailed
                text: "Couldn't load. Try again."
            }
            Quiet {
                visible: !panel.historyFailed && panel.historyRows.length === 0
                text: "No briefings yet."
            }
            Repeater {
                model: panel.historyRows
                delegate: ItemDelegate {
                    objectName: "historyRow"
                    required property var modelData
                    Layout.fillWidth: true
                    Accessible.name: modelData.day + ", " + modelData.summary
                    onClicked: panel.openPast(modelData.index)
                    contentItem: RowLayout {
                        spacing: Style.spacing
                        Label { text: modelData.day; Layout.minimumWidth: 90 }
                        Label {
                            objectName: "historySummary"
                            Layout.fillWidth: true
                            text: modelData.summary
                            color: Style.secondaryText
                        }
                        Label { text: "›"; color: Style.secondaryText }
                    }
                }
            }
            Quiet {
                visible: panel.historyRows.length > 0
                text: "The last ten are kept."
                font.pixelSize: Style.smallFont
            }
        }

        // --- one past briefing ---
        ColumnLayout {
            visible: panel.mode === "past"
            Layout.fillWidth: true
            spacing: Style.spacing
            Act {
                objectName: "backToHistory"
                flat: true
                text: "‹ Past briefings"
                Accessible.name: "Past briefings"
                onClicked: panel.showHistory()
            }
            Quiet {
                text: panel.past.stamp || ""
                font.pixelSize: Style.smallFont
            }
            Quiet {
                visible: panel.past.state === "unreadable"
                text: "This briefing couldn't be read."
            }
            Quiet {
                visible: panel.past.state === "clear"
                text: "All clear. This briefing raised nothing."
            }
            RecordList {
                visible: panel.past.state === "records"
                sections: panel.past.sections || []
            }
        }
        Item { Layout.fillHeight: true }
    }
}
