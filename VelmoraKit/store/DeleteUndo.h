#pragma once

#include "Records.h"

#include <QCoroTask>
#include <QPointer>

class Store;
class UndoCenter;

// The delete-and-undo flow of the list: what the row's delete and the toast's "Undo" run.
namespace DeleteUndo {

// Deletes the item, then stands an undo offer only if the app is online at that moment: a
// delete made offline is still queued and has nothing on the server to restore.
QCoro::Task<> remove(QPointer<Store> store, QPointer<UndoCenter> center, Item item);

// The toast's button: a deletion is cleared from the toast first and then restored by the
// Store; an action offer runs its own revert.
QCoro::Task<> undo(QPointer<Store> store, QPointer<UndoCenter> center);

} // namespace DeleteUndo
