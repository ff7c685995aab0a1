import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import Velmora.AI
import ".."

// The AI pane's Credits tab: the balance and its history, as the server keeps them.
ScrollView {
    id: tab
    objectName: "creditsTab"
    property alias model: credits
    contentWidth: availableWidth
    clip: true

    CreditsPanelModel {
        id: credits
        store: app.store
    }

    component Caption: Label {
        font.pixelSize: Style.smallFont
        font.weight: Font.DemiBold
        color: Style.secondaryText
    }

    component BalanceRow: RowLayout {
        property alias count: countLabel.text
        property alias label: nameLabel.text
        property alias detail: detailLabel.text
        Layout.fillWidth: true
        spacing: Style.padding
        Label {
            id: countLabel
            Layout.minimumWidth: 28
            horizontalAlignment: Text.AlignRight
            font.pixelSize: Style.titleFont
            font.weight: Font.DemiBold
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 0
            Label { id: nameLabel }
            Label {
                id: detailLabel
                visible: text !== ""
                font.pixelSize: Style.smallFont
                color: Style.secondaryText
            }
        }
    }

    ColumnLayout {
        width: tab.availableWidth
        spacing: Style.spacing

        Label {
            objectName: "creditsFailed"
            visible: credits.loadFailed
            Layout.fillWidth: true
            wrapMode: Text.WordWrap
            text: "Couldn't load your credits."
            color: Style.secondaryText
        }
        BusyIndicator {
            objectName: "creditsLoading"
            visible: !credits.loadFailed && !credits.hasSnapshot && credits.loading
            running: visible
            Layout.alignment: Qt.AlignHCenter
        }

        ColumnLayout {
            objectName: "creditsBody"
            visible: !credits.loadFailed && credits.hasSnapshot
            Layout.fillWidth: true
            spacing: Style.spacing

            Label {
                objectName: "creditsHeader"
                text: credits.header
                color: Style.secondaryText
            }
            Rectangle {
                Layout.fillWidth: true
                implicitHeight: balance.implicitHeight + 2 * Style.padding
                radius: Style.radius
                color: Style.surface
                border.color: Style.separator
                ColumnLayout {
                    id: balance
                    anchors.fill: parent
                    anchors.margins: Style.padding
                    spacing: Style.spacing
                    Caption { text: "AVAILABLE" }
                    Label {
                        objectName: "creditsTotal"
                        text: credits.total
                        font.pixelSize: Style.heroFont
                        font.weight: Font.DemiBold
                    }
                    BalanceRow {
                        objectName: "includedRow"
                        count: credits.included
                        label: "Included"
                        detail: credits.includedDetail
                    }
                    BalanceRow {
                        objectName: "extraRow"
                        visible: credits.extra >= 1
                        count: credits.extra
                        label: "Extra"
                        detail: "Never expire"
                    }
                    Label {
                        visible: credits.monthly
                        text: "Unused credits don't carry over."
                        font.pixelSize: Style.smallFont
                        color: Style.secondaryText
                    }
                }
            }

            Caption {
                Layout.topMargin: Style.spacing
                text: "HISTORY"
            }
            Label {
                visible: credits.lots.length === 0
                text: "Nothing yet."
                color: Style.secondaryText
            }
            Repeater {
                model: credits.lots
                delegate: ColumnLayout {
                    id: lotRow
                    objectName: "lotRow"
                    required property var modelData
                    Layout.fillWidth: true
                    spacing: 2

                    ItemDelegate {
                        objectName: "lotButton"
                        Layout.fillWidth: true
                        Accessible.name: lotRow.modelData.title + ", " + lotRow.modelData.status
                        onClicked: credits.toggle(lotRow.modelData.id)
                        contentItem: RowLayout {
                            spacing: Style.spacing
                            Label {
                                text: lotRow.modelData.expanded ? "▾" : "▸"
                                color: Style.secondaryText
                            }
                            ColumnLayout {
                                Layout.fillWidth: true
                                spacing: 0
                                Label {
                                    Layout.fillWidth: true
                                    text: lotRow.modelData.title
                                    textFormat: Text.PlainText
                                    elide: Text.ElideRight
                                    // A title cut short shows whole over the row.
                                    HoverHandler { id: lotHover }
                                    ToolTip.visible: truncated && lotHover.hovered
                                    ToolTip.delay: 800
                                    ToolTip.text: text
                                }
                                Label {
                                    objectName: "lotStatus"
                                    Layout.fillWidth: true
                                    text: lotRow.modelData.status
                                    textFormat: Text.PlainText
                                    font.pixelSize: Style.smallFont
                                    color: Style.secondaryText
                                }
                            }
                            Label {
                                objectName: "lotUsed"
                                text: lotRow.modelData.used
                                font.pixelSize: Style.smallFont
                                color: Style.secondaryText
                            }
                        }
                    }

                    ColumnLayout {
                        visible: lotRow.modelData.expanded
                        Layout.fillWidth: true
                        Layout.leftMargin: 28
                        Layout.bottomMargin: Style.spacing
                        spacing: 2
                        RowLayout {
                            visible: !lotRow.modelData.runsLoaded
                            BusyIndicator {
                                running: parent.visible
                                implicitWidth: 16
                                implicitHeight: 16
                            }
                            Label {
                                text: "Loading…"
                                color: Style.secondaryText
                            }
                        }
                        Label {
                            visible: lotRow.modelData.runsLoaded && lotRow.modelData.runs.length === 0
                            text: "Nothing has used these yet."
                            color: Style.secondaryText
                        }
                        Repeater {
                            model: lotRow.modelData.runs
                            delegate: RowLayout {
                                objectName: "runLine"
                                required property var modelData
                                spacing: Style.spacing
                                Label {
                                    Layout.minimumWidth: 48
                                    text: modelData.date
                                    color: Style.secondaryText
                                    font.pixelSize: Style.smallFont
                                }
                                Label {
                                    objectName: "runWords"
                                    text: modelData.words
                                    font.pixelSize: Style.smallFont
                                }
                            }
                        }
                    }
                }
            }
        }
        Item { Layout.fillHeight: true }
    }
}
