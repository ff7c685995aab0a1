import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Velmora
import ".."

// An optional day: a switch named by the title and, while it is on, the day's picker.
// Turning it on gives the start of today. `date` is null or a Date; the owner sets it from
// `dateEdited`. In a form whose rows carry their names, `showsTitle` hides the switch's own.
RowLayout {
    id: row
    property string title
    property var date: null
    property bool showsTitle: true
    signal dateEdited(var date)

    spacing: Style.spacing

    Switch {
        id: toggle
        palette.button: Style.switchKnob
        palette.window: Style.controlFrame
        text: row.showsTitle ? row.title : ""
        leftPadding: 0
        Accessible.name: row.title
        checked: !!row.date
        onToggled: {
            if (checked) {
                const today = new Date()
                today.setHours(0, 0, 0, 0)
                row.dateEdited(today)
            } else {
                row.dateEdited(null)
            }
        }
    }
    DateButton {
        visible: !!row.date
        title: row.title
        date: row.date
        onPicked: date => row.dateEdited(date)
    }
}
