import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora

// A day, shown as a button that opens a month calendar. Days only: what it reports is the
// local start of the picked day. The owner sets `date` from `picked`.
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

        y: button.height + 4
        padding: Style.spacing
        focus: true

        function shift(months) {
            const first = new Date(year, month + months, 1)
            month = first.getMonth()
            year = first.getFullYear()
        }
        function isPicked(model) {
            return !!button.date && button.date.getFullYear() === model.year
                && button.date.getMonth() === model.month && button.date.getDate() === model.day
        }

        onAboutToShow: {
            const shown = button.date ? button.date : new Date()
            month = shown.getMonth()
            year = shown.getFullYear()
        }

        background: Rectangle {
            color: Style.surface
            border.color: Style.separator
            radius: Style.radius
        }

        contentItem: ColumnLayout {
            spacing: 4
            RowLayout {
                Layout.fillWidth: true
                ToolButton {
                    text: "\u2039"
                    Accessible.name: "Previous month"
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
                    implicitWidth: 30
                    implicitHeight: 26
                    text: model.day
                    opacity: model.month === grid.month ? 1 : 0.45
                    Accessible.name: new Date(model.year, model.month, model.day)
                        .toLocaleDateString(Qt.locale(), Locale.LongFormat)
                    background: Rectangle {
                        radius: 4
                        color: day.chosen ? Style.accent : day.hovered ? Style.hover : "transparent"
                    }
                    contentItem: Label {
                        text: day.text
                        horizontalAlignment: Text.AlignHCenter
                        verticalAlignment: Text.AlignVCenter
                        color: day.chosen ? Style.accentText : day.model.today ? Style.accent : Style.text
                        font.weight: day.model.today ? Font.DemiBold : Font.Normal
                    }
                    onClicked: {
                        button.picked(new Date(model.year, model.month, model.day))
                        calendar.close()
                    }
                }
            }
        }
    }
}
