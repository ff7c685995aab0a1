import QtQuick
import QtQuick.Controls
import Velmora

// The questions and alerts the Store raises, each shown while its state stands and the
// signed-in layout is up. The conflict comes first: nothing else is asked until it is
// answered.
Item {
    id: dialogs
    anchors.fill: parent

    AlertDialog {
        objectName: "conflictDialog"
        // The Store keeps the conflict until one of the two answers is given.
        closePolicy: Popup.NoAutoClose
        wanted: dialogs.visible && store.hasPendingConflict
        title: "The online copy changed while you were offline"
        message: "Keeping your edits replays them on top of the online copy — unrelated online changes survive. Keeping the online version discards your offline edits."
        detail: mainWindow.conflictDetail
        Button {
            objectName: "keepOnline"
            text: "Keep the online version"
            onClicked: mainWindow.keepOnline()
        }
        Button {
            objectName: "keepMine"
            text: mainWindow.keepMineLabel
            highlighted: true
            onClicked: mainWindow.keepMine()
        }
    }

    AlertDialog {
        objectName: "errorDialog"
        wanted: dialogs.visible && store.lastError.length > 0 && !store.hasPendingConflict
        title: "Couldn't reach the server"
        message: store.lastError
        onClosed: store.clearError()
        Button {
            objectName: "errorOK"
            text: "OK"
            highlighted: true
            onClicked: store.clearError()
        }
    }

    AlertDialog {
        objectName: "limitDialog"
        wanted: dialogs.visible && mainWindow.limitReason.length > 0
                && !store.hasPendingConflict
        title: "That didn't save"
        message: mainWindow.limitReason
        onClosed: mainWindow.clearLimitReason()
        Button {
            objectName: "limitOK"
            text: "OK"
            highlighted: true
            onClicked: mainWindow.clearLimitReason()
        }
    }
}
