import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora

// The whole window while signed out: the brand column with the ways in, and a showcase of
// what the app looks like. The showcase uses no server data.
Item {
    id: root

    Binding {
        target: tokenSetup
        property: "active"
        value: root.visible && root.Window.window !== null && root.Window.window.visible
    }

    RowLayout {
        anchors.fill: parent
        spacing: 0

        // --- brand column ---
        ColumnLayout {
            objectName: "brandColumn"
            Layout.preferredWidth: 340
            Layout.maximumWidth: 340
            Layout.fillHeight: true
            // At the window's smallest height everything still fits above the bottom edge.
            Layout.margins: root.height < 520 ? 24 : 40
            spacing: Style.spacing

            Image {
                source: "qrc:/velmora/icons/org.velmora.app.svg"
                sourceSize: Qt.size(56, 56)
                Accessible.ignored: true
            }
            Label {
                text: "Velmora"
                font.pixelSize: Style.heroFont
                font.weight: Font.DemiBold
            }
            Label {
                text: "Action items, kept in one quiet place."
                color: Style.secondaryText
                font.pixelSize: Style.titleFont
                wrapMode: Text.WordWrap
                Layout.fillWidth: true
            }
            Label {
                text: "POWERED BY MCP · DESIGNED FOR INTELLIGENCE"
                color: Style.secondaryText
                font.pixelSize: Style.smallFont
                font.letterSpacing: 1.2
            }

            Item { Layout.preferredHeight: 16 }

            Button {
                objectName: "appleDoor"
                text: "Continue with Apple"
                enabled: tokenSetup.doorsEnabled && !tokenSetup.busy
                opacity: enabled ? 1 : 0.5
                Layout.fillWidth: true
                Accessible.name: text
                onClicked: tokenSetup.signIn("apple")
            }
            Button {
                objectName: "googleDoor"
                text: "Continue with Google"
                enabled: tokenSetup.doorsEnabled && !tokenSetup.busy
                opacity: enabled ? 1 : 0.5
                Layout.fillWidth: true
                Accessible.name: text
                icon.source: "qrc:/velmora/icons/google-mark.svg"
                icon.color: "transparent"
                onClicked: tokenSetup.signIn("google")
            }

            RowLayout {
                Layout.fillWidth: true
                spacing: Style.spacing
                TextField {
                    id: tokenField
                    objectName: "tokenField"
                    placeholderText: "Paste a token or connection URL"
                    Accessible.name: placeholderText
                    enabled: !tokenSetup.busy
                    echoMode: TextInput.Password
                    Layout.fillWidth: true
                    onAccepted: connectButton.clicked()
                }
                Button {
                    id: connectButton
                    objectName: "connectButton"
                    text: "Connect"
                    Accessible.name: text
                    enabled: !tokenSetup.busy && tokenField.text.trim().length > 0
                    onClicked: tokenSetup.connectWith(tokenField.text)
                }
            }

            // The sign-in's progress and its trouble keep a place of their own under the
            // buttons, always in the column: a row that the column shows and hides was left
            // at the column's top, over the icon, while the keyring's prompt was up.
            Item {
                objectName: "signInStatus"
                Layout.fillWidth: true
                Layout.preferredHeight: Math.max(statusLines.implicitHeight, 64)
                Column {
                    id: statusLines
                    width: parent.width
                    spacing: 4
                    Row {
                        objectName: "progressRow"
                        visible: tokenSetup.busy
                        spacing: Style.spacing
                        Loader {
                            active: tokenSetup.busy && root.visible
                            width: 20
                            height: 20
                            anchors.verticalCenter: parent.verticalCenter
                            sourceComponent: BusyIndicator {
                                running: true
                                implicitWidth: 20
                                implicitHeight: 20
                            }
                        }
                        Label {
                            objectName: "progressLabel"
                            text: tokenSetup.progress
                            anchors.verticalCenter: parent.verticalCenter
                        }
                        Button {
                            objectName: "cancelSignIn"
                            text: "Cancel"
                            Accessible.name: text
                            visible: tokenSetup.waitingForBrowser
                            onClicked: tokenSetup.cancelSignIn()
                        }
                    }
                    Label {
                        objectName: "progressDetail"
                        visible: tokenSetup.busy && text.length > 0
                        width: parent.width
                        text: tokenSetup.progressDetail
                        color: Style.secondaryText
                        font.pixelSize: Style.smallFont
                        wrapMode: Text.WordWrap
                    }
                    Label {
                        objectName: "warningLabel"
                        visible: !tokenSetup.busy && text.length > 0
                        width: parent.width
                        text: tokenSetup.warning
                        textFormat: Text.PlainText
                        color: Style.warning
                        wrapMode: Text.WordWrap
                    }
                }
            }

            Item { Layout.fillHeight: true }

            Label {
                text: "Signing in creates your account. The same list follows you to the iPhone app and the website."
                color: Style.secondaryText
                font.pixelSize: Style.smallFont
                wrapMode: Text.WordWrap
                Layout.fillWidth: true
            }
            Label {
                text: "Compatible with ChatGPT and Claude through MCP"
                color: Style.secondaryText
                font.pixelSize: Style.smallFont
            }
        }

        // --- showcase column ---
        Rectangle {
            Layout.fillWidth: true
            Layout.fillHeight: true
            color: Style.raised

            ColumnLayout {
                anchors.fill: parent
                anchors.margins: 32
                spacing: Style.padding

                // The label, the card and its dots sit together in the middle of the column.
                Item { Layout.fillHeight: true }

                Label {
                    text: "WHAT IT LOOKS LIKE"
                    color: Style.secondaryText
                    font.pixelSize: Style.smallFont
                    font.letterSpacing: 1.2
                }

                StackLayout {
                    objectName: "showcase"
                    currentIndex: tokenSetup.panel
                    Layout.fillWidth: true
                    // The shown panel's own height, not the tallest one's; a nested layout
                    // would fill the column by default.
                    Layout.fillHeight: false
                    Layout.preferredHeight: currentIndex >= 0 && currentIndex < children.length
                                            ? children[currentIndex].implicitHeight
                                            : implicitHeight

                    ShowcaseCard {
                        ColumnLayout {
                            anchors.left: parent.left
                            anchors.right: parent.right
                            spacing: Style.spacing
                            Repeater {
                                model: [
                                    { title: "Send Marisol the revised forecast before the board pack closes", who: "Marisol Vance", section: "action" },
                                    { title: "Legal to come back on the redlined MSA", who: "Tomás Beaulieu", section: "waiting" },
                                    { title: "Renfield Logistics moved the delivery window to the 14th", who: "Priya Sundaram", section: "note" }
                                ]
                                delegate: ShowcaseRow {
                                    required property var modelData
                                    stripe: Style.sectionColor(modelData.section)
                                    title: modelData.title
                                    detail: modelData.who
                                    Layout.fillWidth: true
                                }
                            }
                        }
                    }

                    ShowcaseCard {
                        ColumnLayout {
                            anchors.left: parent.left
                            anchors.right: parent.right
                            spacing: Style.spacing
                            Label {
                                text: "OVERNIGHT"
                                color: Style.secondaryText
                                font.pixelSize: Style.smallFont
                                font.letterSpacing: 1.2
                            }
                            Label {
                                text: "Claude suggests some changes"
                                font.pixelSize: Style.titleFont
                            }
                            Repeater {
                                model: [
                                    { verb: "Add", title: "Confirm the Redwood handover date with Dana", reason: "She asked twice this week and you have not replied" },
                                    { verb: "Done", title: "Reply to Aurora about the insurance certificate", reason: "You sent it Thursday afternoon" },
                                    { verb: "Rule", title: "Exclude items where title contains standup", reason: "You have turned down three standup notes" }
                                ]
                                delegate: ShowcaseRow {
                                    required property var modelData
                                    verb: modelData.verb
                                    title: modelData.title
                                    detail: modelData.reason
                                    accept: true
                                    Layout.fillWidth: true
                                }
                            }
                        }
                    }

                    ShowcaseCard {
                        ColumnLayout {
                            anchors.left: parent.left
                            anchors.right: parent.right
                            spacing: Style.spacing
                            Label {
                                text: "STANDING RULES"
                                color: Style.secondaryText
                                font.pixelSize: Style.smallFont
                                font.letterSpacing: 1.2
                            }
                            Label {
                                text: "You approve them once; the server enforces them"
                                font.pixelSize: Style.titleFont
                                wrapMode: Text.WordWrap
                                Layout.fillWidth: true
                            }
                            Repeater {
                                model: tokenSetup.showcaseRules
                                delegate: ShowcaseRow {
                                    required property string modelData
                                    title: modelData
                                    Layout.fillWidth: true
                                }
                            }
                        }
                    }
                }

                RowLayout {
                    Layout.alignment: Qt.AlignHCenter
                    spacing: Style.spacing
                    ToolButton {
                        objectName: "previousPanel"
                        text: "‹"
                        font.pixelSize: Style.titleFont
                        Accessible.name: "Previous panel"
                        ToolTip.visible: hovered
                        ToolTip.text: Accessible.name
                        onClicked: tokenSetup.step(-1)
                    }
                    Repeater {
                        model: ["Show the list", "Show the review", "Show the rules"]
                        delegate: AbstractButton {
                            required property int index
                            required property string modelData
                            objectName: "dot" + index
                            implicitWidth: 18
                            implicitHeight: 18
                            Accessible.name: modelData
                            Accessible.role: Accessible.Button
                            focusPolicy: Qt.StrongFocus
                            onClicked: tokenSetup.select(index)
                            contentItem: Item {}
                            background: Rectangle {
                                anchors.centerIn: parent
                                width: 8
                                height: 8
                                radius: 4
                                color: tokenSetup.panel === index ? Style.accent : Style.separator
                                border.color: parent.activeFocus ? Style.accent : "transparent"
                            }
                        }
                    }
                    ToolButton {
                        objectName: "nextPanel"
                        text: "›"
                        font.pixelSize: Style.titleFont
                        Accessible.name: "Next panel"
                        ToolTip.visible: hovered
                        ToolTip.text: Accessible.name
                        onClicked: tokenSetup.step(1)
                    }
                }

                Item { Layout.fillHeight: true }
            }
        }
    }
}
