import QtQuick
import QtQuick.Controls
import QtQuick.Controls.impl
import Velmora
import ".."

// One row of the main list. The list can hold thousands, so the row stays cheap: anchors and
// plain Rows rather than layouts, no menu of its own, and the parts few rows show (the AI
// mark, the flag, the link) are only made while they show.
Rectangle {
    id: row
    required property int index
    required property string itemId
    required property string title
    required property string source
    required property bool done
    required property string section
    required property string priority
    required property bool flagged
    required property string channel
    required property string channelLabel
    required property string dueLabel
    required property bool overdue
    required property bool ai
    required property string firstLinkLabel
    required property string firstLinkUrl
    required property int moreLinks
    required property bool sectionRedundant
    // The group heading drawn above the first row of a group; "" on the others.
    property string heading: ""
    property int lateCount: 0
    property bool selected: false
    readonly property bool hovered: hover.hovered
    // The flag button goes with the pointer; a tooltip it had open would stay behind.
    onHoveredChanged: if (!hovered && ToolTip.toolTip.visible) ToolTip.toolTip.hide()

    signal activated()
    signal toggleRequested()
    signal flagRequested()
    // In the row's coordinates.
    signal contextMenuRequested(real x, real y)

    implicitWidth: 560
    implicitHeight: body.y + Style.rowHeight
    color: "transparent"

    Accessible.role: Accessible.ListItem
    Accessible.name: title
    Accessible.selectable: true
    Accessible.selected: selected
    Keys.onPressed: event => {
        if (event.key === Qt.Key_Menu
                || (event.key === Qt.Key_F10 && (event.modifiers & Qt.ShiftModifier))) {
            row.contextMenuRequested(lead.x, row.height)
            event.accepted = true
        }
    }

    Item {
        id: headingBar
        objectName: "heading"
        width: row.width
        height: row.heading.length > 0 ? 30 : 0
        visible: height > 0
        Label {
            anchors.left: parent.left
            anchors.leftMargin: Style.spacing
            anchors.bottom: parent.bottom
            anchors.bottomMargin: 4
            text: row.heading
            font.pixelSize: Style.smallFont
            font.weight: Font.DemiBold
            font.capitalization: Font.AllUppercase
            font.letterSpacing: 0.6
            color: Style.secondaryText
            Accessible.role: Accessible.Heading
        }
        Label {
            objectName: "lateCount"
            anchors.right: parent.right
            anchors.rightMargin: Style.spacing
            anchors.bottom: parent.bottom
            anchors.bottomMargin: 4
            visible: row.lateCount > 0
            text: row.lateCount + " late"
            font.pixelSize: Style.smallFont
            font.weight: Font.DemiBold
            color: Style.warning
        }
    }
    Rectangle {
        id: body
        y: headingBar.height
        width: row.width
        height: Style.rowHeight
        radius: Style.rowRadius
        color: row.selected ? Style.selection : hover.hovered ? Style.hover : "transparent"
        HoverHandler { id: hover }
    }
    MouseArea {
        anchors.fill: body
        acceptedButtons: Qt.LeftButton | Qt.RightButton
        onPressed: mouse => {
            if (mouse.button === Qt.LeftButton)
                row.activated()
        }
        onClicked: mouse => {
            if (mouse.button === Qt.RightButton)
                row.contextMenuRequested(mouse.x, mouse.y)
        }
    }

    SectionStripe {
        objectName: "stripe"
        x: 5
        anchors.verticalCenter: body.verticalCenter
        height: body.height - 14
        visible: !row.sectionRedundant
        section: row.section
        dimmed: row.done
    }

    AbstractButton {
        id: check
        objectName: "check"
        x: 16
        anchors.verticalCenter: body.verticalCenter
        width: 18
        height: 18
        hoverEnabled: true
        focusPolicy: Qt.NoFocus
        Accessible.name: row.done ? "Mark as not done" : "Mark as done"
        ToolTip.visible: hovered
        ToolTip.delay: 600
        ToolTip.text: Accessible.name
        onClicked: row.toggleRequested()
        background: Rectangle {
            radius: width / 2
            color: row.done ? Style.done : check.hovered ? Style.controlHover : "transparent"
            border.width: row.done ? 0 : 1.5
            border.color: check.hovered ? Style.text : Style.secondaryText
            Text {
                anchors.centerIn: parent
                text: row.done ? "✓" : ""
                color: Style.checkMark
                font.pixelSize: 11
                font.weight: Font.Bold
            }
        }
    }

    // The title and who it's about read together; the title gives way first.
    Row {
        id: lead
        anchors.left: check.right
        anchors.leftMargin: 10
        anchors.verticalCenter: body.verticalCenter
        spacing: 8
        readonly property real room: trail.x - 12 - x

        Text {
            id: titleText
            objectName: "title"
            anchors.verticalCenter: parent.verticalCenter
            width: Math.max(0, Math.min(implicitWidth, lead.room - (pill.visible ? pill.width + 8 : 0)
                                        - (who.visible ? who.width + 8 : 0)))
            text: row.title
            textFormat: Text.PlainText
            elide: Text.ElideRight
            color: row.done ? Style.secondaryText : Style.text
            font.pixelSize: Style.bodyFont
            font.strikeout: row.done
            // A title cut short shows whole over the row.
            ToolTip.visible: truncated && hover.hovered
            ToolTip.delay: 800
            ToolTip.text: row.title
        }
        ChannelPill {
            id: pill
            objectName: "channel"
            anchors.verticalCenter: parent.verticalCenter
            compact: true
            channel: row.channel
            label: row.channelLabel
            opacity: row.done ? 0.6 : 1
        }
        Text {
            id: who
            objectName: "who"
            anchors.verticalCenter: parent.verticalCenter
            visible: row.source.length > 0
            width: Math.min(implicitWidth, 130)
            text: row.source
            textFormat: Text.PlainText
            elide: Text.ElideRight
            color: Style.secondaryText
            font.pixelSize: Style.smallFont + 1
        }
    }

    Row {
        id: trail
        anchors.right: parent.right
        anchors.rightMargin: 8
        anchors.verticalCenter: body.verticalCenter
        spacing: 6

        Text {
            objectName: "due"
            anchors.verticalCenter: parent.verticalCenter
            visible: row.dueLabel.length > 0
            text: row.dueLabel
            textFormat: Text.PlainText
            color: row.overdue ? Style.warning : Style.secondaryText
            font.pixelSize: Style.smallFont + 1
            font.weight: row.overdue ? Font.DemiBold : Font.Normal
        }
        Loader {
            objectName: "aiMark"
            anchors.verticalCenter: parent.verticalCenter
            active: row.ai
            visible: active
            sourceComponent: IconImage {
                width: 14
                height: 14
                sourceSize: Qt.size(14, 14)
                source: "qrc:/velmora/icons/sparkle.svg"
                color: Style.aiMark
                Accessible.role: Accessible.Graphic
                Accessible.name: "Added by your AI agent"
                ToolTip.visible: aiHover.hovered
                ToolTip.delay: 600
                ToolTip.text: Accessible.name
                HoverHandler { id: aiHover }
            }
        }
        // The slot keeps its width, so the flag coming and going under the pointer moves
        // nothing else in the row.
        Item {
            anchors.verticalCenter: parent.verticalCenter
            width: 22
            height: 22
            Loader {
                objectName: "flag"
                active: row.flagged || row.hovered
                sourceComponent: IconButton {
                    width: 22
                    height: 22
                    padding: 3
                    focusPolicy: Qt.NoFocus
                    iconSource: "qrc:/velmora/icons/flag.svg"
                    solidIconSource: "qrc:/velmora/icons/flag-solid.svg"
                    checked: row.flagged
                    checkedTint: Style.flag
                    toolTipText: row.flagged ? "Unflag" : "Flag as urgent"
                    onClicked: row.flagRequested()
                }
            }
        }
        PriorityStars {
            objectName: "stars"
            anchors.verticalCenter: parent.verticalCenter
            priority: row.priority
        }
        Loader {
            objectName: "link"
            anchors.verticalCenter: parent.verticalCenter
            active: row.firstLinkUrl.length > 0
            visible: active
            sourceComponent: LinkChip {
                maximumWidth: 140
                label: row.firstLinkLabel
                url: row.firstLinkUrl
            }
        }
        Text {
            objectName: "moreLinks"
            anchors.verticalCenter: parent.verticalCenter
            visible: row.moreLinks > 0
            text: visible ? "+" + row.moreLinks : ""
            color: Style.secondaryText
            font.pixelSize: Style.smallFont + 1
        }
    }
}
