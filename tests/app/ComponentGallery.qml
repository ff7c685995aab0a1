// Every shared component side by side in one window, one row hovered, the context menu open;
// the component test renders it in light and dark and holds each to a size of its own.
import QtQuick
import Velmora
import "help"
import "list"

VWindow {
    width: 790
    height: 650
    visible: true

    component Sample: ItemRow {
        width: 660
        index: 0; itemId: "x"; title: ""; source: ""; done: false; section: "action"
        priority: "medium"; flagged: false; channel: "self"; channelLabel: "Me"; dueLabel: ""
        overdue: false; ai: false; firstLinkLabel: ""; firstLinkUrl: ""; moreLinks: 0
        sectionRedundant: false
    }

    Column {
        objectName: "gallery"
        x: 30; y: 20
        spacing: 2
        Sample {
            title: "Send the Q3 budget to Priya"; source: "Priya Raman"; channel: "teams"
            channelLabel: "Teams"; dueLabel: "Today"; priority: "high"; flagged: true
            firstLinkLabel: "Budget sheet"; firstLinkUrl: "https://example.com/budget"
            moreLinks: 2
        }
        Sample {
            title: "Review the onboarding checklist"; source: "Marco Bellini"; channel: "email"
            channelLabel: "Email"; dueLabel: "Yesterday"; overdue: true; ai: true
            selected: true
        }
        Sample {
            objectName: "hoverMe"
            title: "Book a room for the design review"; channel: "meeting"
            channelLabel: "Meeting"; dueLabel: "Fri"; section: "waiting"
        }
        Sample {
            title: "Water the office plants"; done: true; section: "note"
        }
        Sample {
            title: "A very long title that has to give way to everything else on its row, and then some"
            source: "Alexandra Konstantinopoulou-Smith"; channel: "other"; channelLabel: "Other"
            dueLabel: "12 Mar"; sectionRedundant: true
        }
        Item { width: 1; height: 14 }
        Row {
            spacing: 6
            SectionChip { title: "All"; selected: true }
            SectionChip { title: "Actions"; count: 12 }
            SectionChip { title: "Waiting on"; count: 3 }
            SectionChip { title: "Notes"; count: 0 }
        }
        Item { width: 1; height: 10 }
        Row {
            spacing: 6
            ChannelPill { channel: "self"; label: "Me" }
            ChannelPill { channel: "teams"; label: "Teams" }
            ChannelPill { channel: "email"; label: "Email" }
            ChannelPill { channel: "meeting"; label: "Meeting" }
            ChannelPill { channel: "other"; label: "Other" }
            Item { width: 10; height: 1 }
            PriorityStars { priority: "high"; alwaysShow: true }
            PriorityStars { priority: "medium"; alwaysShow: true }
            PriorityStars { priority: "low"; alwaysShow: true }
            Item { width: 10; height: 1 }
            LinkChip { label: "Design doc"; url: "https://example.com/doc" }
        }
        Item { width: 1; height: 10 }
        Row {
            spacing: 8
            IconButton { iconSource: "qrc:/velmora/icons/flag.svg"; toolTipText: "Flag as urgent" }
            IconButton {
                iconSource: "qrc:/velmora/icons/flag.svg"
                solidIconSource: "qrc:/velmora/icons/flag-solid.svg"
                checked: true; checkedTint: Style.flag
            }
            IconButton { iconSource: "qrc:/velmora/icons/refresh.svg"; text: "Refresh" }
            SectionStripe { height: 24; section: "waiting" }
            SectionStripe { height: 24; section: "note"; dimmed: true }
            OfflineBadge { text: "Offline — 2 edits saved locally\nLast synced 14:05" }
            FlashBadge { anchors.verticalCenter: parent.verticalCenter; message: "Synced — 3 changes" }
        }
        Item { width: 1; height: 10 }
        UndoToast { message: "Deleted “Water the office plants”" }
        Item { width: 1; height: 10 }
        Row {
            spacing: 40
            EmptyState {
                title: "Nothing matches"
                description: "No items match the filters you have on."
                buttonText: "Clear filters"
                iconSource: "qrc:/velmora/icons/inbox.svg"
            }
            Item {
                width: 200; height: 140
                ItemContextMenu { id: menu; flagged: true }
                Component.onCompleted: menu.open()
            }
        }
        Item { width: 1; height: 10 }
        Row {
            spacing: 20
            ScreenHint { title: "New to briefings?"; line: "A short read of your day."; hasHelp: true }
            HelpCard {
                title: "What you can do"
                rows: [{ label: "Reject", does: "Strikes", swipe: "left" }]
            }
        }
    }
}
