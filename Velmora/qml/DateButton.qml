import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora

// A day, shown as a button that opens a month calendar. Days only: what it reports is the
// local start of the picked day. The owner sets `date` from `picked`. From the keyboard the
// arrows move a day or a week, Page Up/Down a month, Home/End to the month's first or last
// day, Return or Space picks, Escape closes.
Button {
    id: button
    property var date: null
    property string title
    signal picked(var date)

    text: date ? date.toLocaleDateString(Qt.locale(), Locale.ShortFormat) : ""
    Accessible.name: title + " value"
    onClicked: calendar.open()

    Popup {
        id: calendar
        objectName: "calendar"
        property int month: 0
        property int year: 2000
        // The day the keys are on.
        property var cursor: new Date()

        y: button.height + 4
        padding: Style.spacing
        focus: true

        function shift(months) {
            const first = new Date(year, month + months, 1)
            month = first.getMonth()
            year = first.getFullYear()
        }
        function moveCursor(days, months) {
            // A month on from the 31st is the next month's last day, not a day of the one after.
            const last = new Date(cursor.getFullYear(), cursor.getMonth() + months + 1, 0).getDate()
            cursor = new Date(cursor.getFullYear(), cursor.getMonth() + months,
                              Math.min(cursor.getDate(), last) + days)
            month = cursor.getMonth()
            year = cursor.getFullYear()
        }
        function cursorToMonthEdge(end) {
            cursor = new Date(cursor.getFullYear(), cursor.getMonth() + (end ? 1 : 0),
                              end ? 0 : 1)
            month = cursor.getMonth()
            year = cursor.getFullYear()
        }
        function pick(day) {
            button.picked(day)
            calendar.close()
        }
        function isCursor(model) {
            return cursor.getFullYear() === model.year && cursor.getMonth() === model.month
                && cursor.getDate() === model.day
        }
        function isPicked(model) {
            return !!button.date && button.date.getFullYear() === model.year
                && button.date.getMonth() === model.month && button.date.getDate() === model.day
        }

        onAboutToShow: {
            const shown = button.date ? button.date : new Date()
            cursor = new Date(shown.getFullYear(), shown.getMonth(), shown.getDate())
            month = shown.getMonth()
            year = shown.getFullYear()
        }
        onOpened: keys.forceActiveFocus()

        background: Rectangle {
            color: Style.surface
            border.color: Style.separator
            radius: Style.radius
        }

        contentItem: ColumnLayout {
            id: keys
            spacing: 4
            focus: true
            Keys.onPressed: event => {
                const steps = { [Qt.Key_Left]: [-1, 0], [Qt.Key_Right]: [1, 0],
                                [Qt.Key_Up]: [-7, 0], [Qt.Key_Down]: [7, 0],
                                [Qt.Key_PageUp]: [0, -1], [Qt.Key_PageDown]: [0, 1] }
                if (steps[event.key]) {
                    calendar.moveCursor(steps[event.key][0], steps[event.key][1])
                } else if (event.key === Qt.Key_Home || event.key === Qt.Key_End) {
                    calendar.cursorToMonthEdge(event.key === Qt.Key_End)
                } else if (event.key === Qt.Key_Return || event.key === Qt.Key_Enter
                           || event.key === Qt.Key_Space) {
                    calendar.pick(calendar.cursor)
                } else {
                    return
                }
                event.accepted = true
            }
            RowLayout {
                Layout.fillWidth: true
                ToolButton {
                    text: "\u2039"
                    Accessible.name: "Previous month"
                    focusPolicy: Qt.NoFocus
                    onClicked: calendar.shift(-1)
                }
                Label {
                    text: new Date(calendar.year, calendar.month, 1)
                        .toLocaleDateString(Qt.locale(), "MMMM yyyy")
                    color: Style.text
                    font.weight: Font.DemiBold
                    horizontalAlignment: Text.AlignHCenter
                    Layout.fillWidth: true
                }
                ToolButton {
                    text: "\u203A"
                    Accessible.name: "Next month"
                    focusPolicy: Qt.NoFocus
                    onClicked: calendar.shift(1)
                }
            }
            DayOfWeekRow {
                locale: grid.locale
                Layout.fillWidth: true
                delegate: Label {
                    required property var model
                    text: model.shortName
                    color: Style.secondaryText
                    font.pixelSize: Style.smallFont
                    horizontalAlignment: Text.AlignHCenter
                }
            }
            MonthGrid {
                id: grid
                month: calendar.month
                year: calendar.year
                Layout.fillWidth: true
                delegate: AbstractButton {
                    id: day
                    required property var model
                    readonly property bool chosen: calendar.isPicked(model)
                    readonly property bool keyed: calendar.isCursor(model)
                    implicitWidth: 30
                    implicitHeight: 26
                    text: model.day
                    opacity: model.month === grid.month ? 1 : 0.45
                    Accessible.name: new Date(model.year, model.month, model.day)
                        .toLocaleDateString(Qt.locale(), Locale.LongFormat)
                    background: Rectangle {
                        radius: 4
                        color: day.chosen ? Style.accent : day.hovered ? Style.hover : "transparent"
                        border.width: day.keyed ? 2 : 0
                        border.color: Style.accent
                    }
                    contentItem: Label {
                        text: day.text
                        horizontalAlignment: Text.AlignHCenter
                        verticalAlignment: Text.AlignVCenter
                        color: day.chosen ? Style.accentText : day.model.today ? Style.accent : Style.text
                        font.weight: day.model.today ? Font.DemiBold : Font.Normal
                    }
                    focusPolicy: Qt.NoFocus
                    onClicked: calendar.pick(new Date(model.year, model.month, model.day))
                }
            }
        }
    }
}
