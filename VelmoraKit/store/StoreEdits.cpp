// The Store's edit pipeline: applied at once, sent or queued, then reloaded.

#include "Store.h"

#include "StoreDetail_p.h"
#include "WireFormats.h"

#include <QCoroSignal>

using namespace StoreDetail;

namespace {

std::optional<QString> nullIfEmpty(const std::optional<QString>& text) {
    return text && !text->isEmpty() ? text : std::nullopt;
}

std::optional<QString> dueDay(const std::optional<QDateTime>& due) {
    return due ? std::optional(LocalDay::string(*due)) : std::nullopt;
}

} // namespace

// --- edits ---

QCoro::Task<bool> Store::add(QString title, std::optional<QString> note,
                             std::optional<QString> source, Section section,
                             std::optional<QDateTime> due, Priority priority, QList<ItemLink> links,
                             QString localID) {
    PendingOps::Add op{localID, title,       nullIfEmpty(note), nullIfEmpty(source),
                       section, dueDay(due), priority,          savedLinks(links)};
    auto task = perform(std::move(op));
    co_return co_await std::move(task);
}

QCoro::Task<bool> Store::update(Item item, QString title, std::optional<QString> note,
                                std::optional<QString> source, std::optional<QDateTime> due,
                                Priority priority, QList<ItemLink> links,
                                std::optional<Section> section) {
    PendingOps::Update op{item.id,     title,    nullIfEmpty(note), nullIfEmpty(source),
                          dueDay(due), priority, savedLinks(links), section};
    auto task = perform(std::move(op));
    co_return co_await std::move(task);
}

QCoro::Task<> Store::toggle(Item item) {
    auto task = perform(PendingOps::SetDone{item.id, !item.isDone()});
    co_await std::move(task);
}

QCoro::Task<> Store::setFlagged(Item item, bool flagged) {
    auto task = perform(PendingOps::SetFlagged{item.id, flagged});
    co_await std::move(task);
}

QCoro::Task<> Store::deleteItem(Item item) {
    if (m_selection == item.id)
        setSelection({});
    auto task = perform(PendingOps::Delete{item.id});
    co_await std::move(task);
}

QCoro::Task<QString> Store::sendAdd(PendingOps::Add add) {
    // The local id doubles as the idempotency key: stable across replays and relaunches,
    // so a reply lost after the server applied the add does not double the task.
    QPointer<Store> self(this);
    m_addsInFlight.insert(add.localID);
    auto settle = [&](const QString& serverID) {
        if (!self)
            return;
        m_addsInFlight.remove(add.localID);
        if (!serverID.isEmpty())
            m_sentAdds.insert(add.localID, serverID);
        Q_EMIT addSettled();
    };
    QString id;
    try {
        auto task = m_client->add(add.title, add.note, add.section, LocalDay::date(add.dueDay),
                                  add.source, add.priority, itemLinks(add.links), add.localID);
        id = co_await std::move(task);
    } catch (...) {
        settle({});
        throw;
    }
    settle(id);
    co_return id;
}

QCoro::Task<PendingOp> Store::afterItsAdd(PendingOp op) {
    QPointer<Store> self(this);
    const QString target = PendingOps::targetID(op);
    while (self && m_addsInFlight.contains(target))
        co_await qCoro(this, &Store::addSettled);
    if (self)
        if (const auto it = m_sentAdds.constFind(target); it != m_sentAdds.cend())
            op = PendingOps::remap({op}, target, *it).first();
    co_return op;
}

QCoro::Task<> Store::execute(PendingOp op) {
    if (const auto* o = std::get_if<PendingOps::SetDone>(&op)) {
        auto task = m_client->setDone(o->id, o->done);
        co_await std::move(task);
    } else if (const auto* o = std::get_if<PendingOps::SetFlagged>(&op)) {
        auto task = m_client->setFlagged(o->id, o->flagged);
        co_await std::move(task);
    } else if (const auto* o = std::get_if<PendingOps::Delete>(&op)) {
        auto task = m_client->deleteItem(o->id);
        co_await std::move(task);
    } else if (const auto* o = std::get_if<PendingOps::Update>(&op)) {
        auto task = m_client->update(o->id, o->title, o->note, o->source, LocalDay::date(o->dueDay),
                                     o->priority, itemLinks(o->links), o->section);
        co_await std::move(task);
    }
}

void Store::applyLocally(const PendingOp& op) {
    // In place: a copy of the list first would copy every task for one edit.
    const bool isAdd = std::holds_alternative<PendingOps::Add>(op);
    const QString id = PendingOps::targetID(op);
    const std::optional<Item> before = isAdd ? std::nullopt : ListQueries::item(m_document, id);
    if (!isAdd && !before)
        return; // no such task: nothing changes
    const qsizetype count = m_document.items.size();
    PendingOps::apply(op, m_document, QDateTime::currentDateTimeUtc());
    if (isAdd || m_document.items.size() != count || ListQueries::item(m_document, id) != before)
        Q_EMIT documentChanged();
}

QCoro::Task<bool> Store::perform(PendingOp op) {
    QPointer<Store> self(this);
    applyLocally(op);

    // An edit made while its task's add is still on the wire would name an id the server
    // has never seen: it follows the add and takes the server's id.
    if (!std::holds_alternative<PendingOps::Add>(op)) {
        auto task = afterItsAdd(std::move(op));
        op = co_await std::move(task);
        if (!self)
            co_return false;
    }

    if (m_isOffline) {
        auto queue = m_queue;
        queue.push_back(op);
        setQueue(std::move(queue));
        persist();
        co_return true;
    }

    std::optional<QString> newID;
    std::exception_ptr sendError;
    try {
        if (const auto* add = std::get_if<PendingOps::Add>(&op)) {
            auto task = sendAdd(*add);
            newID = co_await std::move(task);
        } else {
            auto task = execute(op);
            co_await std::move(task);
        }
    } catch (...) {
        sendError = std::current_exception();
    }
    if (!self)
        co_return false;

    if (sendError) {
        if (Sync::isUnreachable(sendError)) {
            setOffline(true);
            auto queue = m_queue;
            queue.push_back(op);
            setQueue(std::move(queue));
            persist();
            co_return true;
        }
        const auto api = asAPIError(sendError);
        if (api && api->kind() == APIError::Kind::server && api->status() == 402) {
            setLimitMessage(Sync::limitText(api->body()));
            co_await rollBack();
            if (self)
                co_await refreshUsage();
            co_return false;
        }
        setLastError(describe(sendError));
        co_await rollBack();
        co_return false;
    }

    try {
        const LoadResult loaded = co_await m_client->loadForSync();
        if (self)
            adopt(loaded);
    } catch (...) {
        const auto error = std::current_exception();
        if (!self)
            co_return true;
        // The edit itself is safe on the server.
        if (Sync::isUnreachable(error)) {
            setOffline(true);
            if (const auto* add = std::get_if<PendingOps::Add>(&op); add && newID)
                adoptServerID(*newID, add->localID);
        } else {
            setLastError(describe(error));
        }
    }
    co_return true;
}

QCoro::Task<> Store::rollBack() {
    if (auto rebuilt = rebuiltFromBaseline()) {
        setDocument(std::move(*rebuilt));
        co_return;
    }
    if (m_hasToken) {
        QPointer<Store> self(this);
        auto task = runExclusive([](Store& store) { return store.runRefresh(false); });
        co_await std::move(task);
    }
}

void Store::adoptServerID(const QString& serverID, const QString& localID) {
    Document document = m_document;
    auto it = std::find_if(document.items.begin(), document.items.end(),
                           [&](const Item& item) { return item.id == localID; });
    if (it == document.items.end())
        return;
    it->id = serverID;
    it->shared.reset();
    setDocument(std::move(document));
    setQueue(PendingOps::remap(m_queue, localID, serverID));
    persist();
}

void Store::drop(const PendingOp& op) {
    if (m_queue.isEmpty() || !(m_queue.front() == op))
        return;
    auto queue = m_queue;
    queue.pop_front();
    setQueue(std::move(queue));
}

QCoro::Task<> Store::setHideDone(bool value) {
    QPointer<Store> self(this);
    const bool kept = m_document.settings.hideDone;
    Document document = m_document;
    document.settings.hideDone = value;
    setDocument(std::move(document));
    try {
        auto task = m_client->updateSettings(value);
        co_await std::move(task);
        const LoadResult loaded = co_await m_client->loadForSync();
        if (self)
            adopt(loaded);
    } catch (...) {
        const auto error = std::current_exception();
        if (!self)
            co_return;
        Document restored = m_document;
        restored.settings.hideDone = kept;
        setDocument(std::move(restored));
        fail(error);
    }
}
