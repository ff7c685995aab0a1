import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import Velmora.Forms
import ".."

// The review of an agent's proposal: every row arrives accepted; the user strikes out what
// to turn down, may fix an added task's title, and answers the whole batch in one press.
// From the keyboard: Up/Down pick a row, A accepts it, R rejects it.
Item {
    id: pane
    objectName: "reviewPane"
    property alias model: review
    signal closed(var createdAt)

    ReviewPaneModel {
        id: review
        store: app.store
        onClosed: createdAt => pane.closed(createdAt)
    }

    Loader {
        id: helpLoader
        anchors.fill: parent
        active: review.helping
        visible: active
        source: "UpdatesHelpView.qml"
    }
    Connections {
        target: helpLoader.item
        ignoreUnknownSignals: true
        function onBack() { review.helping = false }
    }

    ColumnLayout {
        anchors.fill: parent
        visible: !review.helping
        spacing: Style.spacing

        RowLayout {
            Layout.fillWidth: true
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 2
                Label {
                    text: "OVERNIGHT"
                    font.pixelSize: Style.smallFont
                    font.letterSpacing: 1
                    font.weight: Font.DemiBold
                    color: Style.secondaryText
                }
                Label {
                    objectName: "reviewTitle"
                    Layout.fillWidth: true
                    text: review.title
                    textFormat: Text.PlainText
                    wrapMode: Text.WordWrap
                    font.pixelSize: Style.bodyFont + 2
                    font.weight: Font.DemiBold
                }
                Label {
                    objectName: "reviewSummary"
                    Layout.fillWidth: true
                    text: review.summary
                    wrapMode: Text.WordWrap
                    color: Style.secondaryText
                }
                Label {
                    Layout.fillWidth: true
                    visible: text.length > 0
                    text: review.agentSummary
                    textFormat: Text.PlainText
                    wrapMode: Text.WordWrap
                    maximumLineCount: 4
                    elide: Text.ElideRight
                    font.italic: true
                    color: Style.secondaryText
                }
            }
            IconButton {
                objectName: "reviewHelpButton"
                Layout.alignment: Qt.AlignTop
                iconSource: "qrc:/velmora/icons/help.svg"
                toolTipText: "What this screen means"
                onClicked: review.helping = true
            }
        }

        Rectangle {
            Layout.fillWidth: true
            implicitHeight: 1
            color: Style.separator
        }

        ListView {
            id: rows
            objectName: "reviewRows"
            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true
            model: review.rows
            activeFocusOnTab: true
            keyNavigationEnabled: true
            onCountChanged: if (currentIndex < 0 && count > 0) currentIndex = 0
            boundsBehavior: Flickable.StopAtBounds
            ScrollBar.vertical: ScrollBar {}
            Accessible.role: Accessible.List
            Accessible.name: "Suggestions"
            delegate: ReviewRow {
                width: rows.width - 10
                review: pane.model
                current: ListView.isCurrentItem && rows.activeFocus
            }
            Keys.onPressed: event => {
                if (!currentItem || event.modifiers & (Qt.ControlModifier | Qt.AltModifier))
                    return
                if (event.key === Qt.Key_A) {
                    review.setRejected(currentItem.deltaId, false)
                    event.accepted = true
                } else if (event.key === Qt.Key_R) {
                    review.setRejected(currentItem.deltaId, true)
                    event.accepted = true
                }
            }
            footer: Column {
                width: rows.width - 10
                topPadding: Style.spacing
                spacing: Style.spacing
                Label {
                    objectName: "skippedNote"
                    width: parent.width
                    visible: text.length > 0
                    text: review.skippedNote
                    wrapMode: Text.WordWrap
                    color: Style.secondaryText
                }
                Label {
                    objectName: "unsupportedNote"
                    width: parent.width
                    visible: text.length > 0
                    text: review.unsupportedNote
                    wrapMode: Text.WordWrap
                    color: Style.warning
                }
            }
        }

        RowLayout {
            Layout.fillWidth: true
            spacing: Style.spacing
            Button {
                objectName: "laterButton"
                Accessible.name: text
                text: HelpPages.updatesWords.later
                ToolTip.visible: hovered
                ToolTip.delay: 600
                ToolTip.text: "Keep the suggestions pending and hide the pane"
                onClicked: review.later()
            }
            Item { Layout.fillWidth: true }
            BusyIndicator {
                visible: review.busy
                running: visible
                implicitWidth: 20
                implicitHeight: 20
            }
            Button {
                objectName: "primaryButton"
                Accessible.name: text
                text: review.primaryLabel
                highlighted: true
                enabled: !review.busy
                onClicked: review.submit()
                Keys.onReturnPressed: review.submit()
                Keys.onEnterPressed: review.submit()
            }
        }
    }
}
