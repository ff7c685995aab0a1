import QtQuick
import QtQuick.Controls
import Velmora

// The questions and alerts the Store raises, each shown while its state stands and the
// signed-in layout is up. The conflict comes first: nothing else is asked until it is
// answered. Each is built the first time it is wanted, then kept: most launches ask nothing.
// (`wanted` is read first: once it holds, the Loader's own item is no longer a dependency, so
// making the item cannot set the binding off again.)
Item {
    id: dialogs
    anchors.fill: parent

    readonly property bool conflictWanted: visible && store.hasPendingConflict
    readonly property bool errorWanted: visible && store.lastError.length > 0
                                        && !store.hasPendingConflict
    readonly property bool limitWanted: visible && mainWindow.limitReason.length > 0
                                        && !store.hasPendingConflict

    Loader {
        anchors.fill: parent
        active: dialogs.conflictWanted || item !== null
        sourceComponent: Item {
            AlertDialog {
                objectName: "conflictDialog"
                // The Store keeps the conflict until one of the two answers is given.
                closePolicy: Popup.NoAutoClose
                wanted: dialogs.conflictWanted
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
        }
    }

    Loader {
        anchors.fill: parent
        active: dialogs.errorWanted || item !== null
        sourceComponent: Item {
            AlertDialog {
                objectName: "errorDialog"
                wanted: dialogs.errorWanted
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
        }
    }

    Loader {
        anchors.fill: parent
        active: dialogs.limitWanted || item !== null
        sourceComponent: Item {
            AlertDialog {
                objectName: "limitDialog"
                wanted: dialogs.limitWanted
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
    }
}
