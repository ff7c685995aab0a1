#include "DeleteUndo.h"

#include "Store.h"
#include "UndoCenter.h"

namespace DeleteUndo {

QCoro::Task<> remove(QPointer<Store> store, QPointer<UndoCenter> center, Item item) {
    if (!store)
        co_return;
    auto task = store->deleteItem(item);
    co_await std::move(task);
    if (store && center && store->canUndoDelete())
        center->show(item.id, UndoCenter::toastTitle(item.title));
}

QCoro::Task<> undo(QPointer<Store> store, QPointer<UndoCenter> center) {
    if (!center)
        co_return;
    if (const auto deleted = center->deleted()) {
        center->clear();
        if (!store)
            co_return;
        auto task = store->undoDelete(deleted->id);
        co_await std::move(task);
        co_return;
    }
    auto task = center->take();
    co_await std::move(task);
}

} // namespace DeleteUndo
