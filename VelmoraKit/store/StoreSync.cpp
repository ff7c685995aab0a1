// The Store's reconnection: replaying the queue, and the conflict question and its answers.

#include "Store.h"

#include "StoreDetail_p.h"
#include "WireFormats.h"
#include "WireJson.h"

using namespace StoreDetail;

// --- sync and conflicts ---

QCoro::Task<> Store::sync() {
    if (!m_hasToken)
        co_return;
    auto task = runExclusive([](Store& store) { return store.runSync(); });
    co_await std::move(task);
}

QCoro::Task<> Store::runSync() {
    QPointer<Store> self(this);
    m_syncReached = false;
    try {
        const qint64 version = co_await m_client->version();
        if (!self)
            co_return;
        switch (Sync::decide(version, m_syncedVersion, m_queue.isEmpty())) {
        case SyncDecision::nothingToDo:
            if (m_isOffline) {
                announce(QStringLiteral("Back online"));
                setOffline(false);
            }
            setLastRefresh(QDateTime::currentDateTimeUtc());
            co_await refreshProposal();
            if (self)
                m_syncReached = true;
            break;
        case SyncDecision::replaySilently: {
            const bool wasOffline = m_isOffline;
            co_await replayQueue();
            if (!self)
                co_return;
            const LoadResult loaded = co_await m_client->loadForSync();
            if (!self)
                co_return;
            adopt(loaded);
            publishSetAsideNotice();
            if (wasOffline)
                announce(QStringLiteral("Synced"));
            co_await refreshProposal();
            if (self)
                m_syncReached = true;
            break;
        }
        case SyncDecision::adoptServerSilently: {
            const bool wasOffline = m_isOffline;
            const LoadResult loaded = co_await m_client->loadForSync();
            if (!self)
                co_return;
            adopt(loaded);
            publishSetAsideNotice();
            if (wasOffline)
                announce(QStringLiteral("Synced"));
            co_await refreshProposal();
            if (self)
                m_syncReached = true;
            break;
        }
        case SyncDecision::askUser:
            setOffline(false);
            // Both versions come from the server: the difference is taken only where it can't
            // overflow.
            setPendingConflict(Sync::Conflict{
                int(m_queue.size()),
                version > m_syncedVersion && m_syncedVersion >= 0 ? version - m_syncedVersion : 1});
            break;
        }
    } catch (...) {
        const auto error = std::current_exception();
        if (self)
            fail(error);
    }
}

QCoro::Task<> Store::replayQueue() {
    QPointer<Store> self(this);
    while (!m_queue.isEmpty()) {
        const PendingOp op = m_queue.front();
        try {
            if (const auto* add = std::get_if<PendingOps::Add>(&op)) {
                auto task = sendAdd(*add);
                const QString id = co_await std::move(task);
                if (!self)
                    co_return;
                drop(op);
                setQueue(PendingOps::remap(m_queue, add->localID, id));
            } else {
                auto task = execute(op);
                co_await std::move(task);
                if (!self)
                    co_return;
                drop(op);
            }
            persist();
            continue;
        } catch (...) {
            const auto error = std::current_exception();
            if (!self)
                co_return;
            const auto api = asAPIError(error);
            if (!api || api->kind() != APIError::Kind::server || api->status() < 400)
                throw; // transport, 401, decoding...: no strike, the edit stays
            // A proxy's "try later" says nothing about the edit: it stays at the head, with
            // no strike, until the next attempt.
            if (api->status() == 408 || api->status() == 425 || api->status() == 429)
                throw;
            if (api->status() == 402) {
                setLimitMessage(Sync::limitText(api->body()));
                drop(op);
                persist();
                continue;
            }
            if (api->status() < 500) {
                // Refused for good (its item is gone): it simply vanishes.
                drop(op);
                persist();
                continue;
            }
            const int count = ++m_strikes[op];
            if (count < Sync::strikeLimit) {
                persist();
                throw;
            }
            m_setAsideNotice = setAsideMessage(op);
            announce(m_setAsideNotice);
            drop(op);
            persist();
        }
    }
}

QString Store::setAsideMessage(const PendingOp& op) const {
    return Sync::setAsideMessage(queuedTitle(op));
}

std::optional<QString> Store::queuedTitle(const PendingOp& op) const {
    std::optional<QString> title;
    if (const auto* add = std::get_if<PendingOps::Add>(&op)) {
        title = add->title;
    } else if (const auto* update = std::get_if<PendingOps::Update>(&op)) {
        title = update->title;
    } else {
        const QString id = PendingOps::targetID(op);
        for (const auto& item : m_document.items)
            if (item.id == id) {
                title = item.title;
                break;
            }
        if (!title && m_syncedWire) {
            if (const auto wire = WireCompat::decodeDocument(*m_syncedWire))
                for (const auto& item : wire->items)
                    if (item.id == id) {
                        title = item.title;
                        break;
                    }
        }
    }
    return title;
}

QCoro::Task<> Store::resolveConflictKeepingMine() {
    if (!m_pendingConflict)
        co_return;
    setPendingConflict(std::nullopt);
    auto task = runExclusive([](Store& store) { return store.runKeepingMine(); });
    co_await std::move(task);
}

QCoro::Task<> Store::runKeepingMine() {
    QPointer<Store> self(this);
    try {
        co_await replayQueue();
        if (!self)
            co_return;
        const LoadResult loaded = co_await m_client->loadForSync();
        if (!self)
            co_return;
        adopt(loaded);
        publishSetAsideNotice();
        announce(QStringLiteral("Synced \u2014 your changes kept"));
    } catch (...) {
        const auto error = std::current_exception();
        if (self)
            fail(error);
    }
}

QCoro::Task<> Store::resolveConflictKeepingOnline() {
    if (!m_pendingConflict)
        co_return;
    setPendingConflict(std::nullopt);
    auto task = runExclusive([](Store& store) { return store.runKeepingOnline(); });
    co_await std::move(task);
}

QCoro::Task<> Store::runKeepingOnline() {
    QPointer<Store> self(this);
    // Final: the queued edits are not restored, whatever the load does.
    setQueue({});
    persist();
    try {
        const LoadResult loaded = co_await m_client->loadForSync();
        if (!self)
            co_return;
        adopt(loaded);
        announce(QStringLiteral("Synced \u2014 online version kept"));
    } catch (...) {
        const auto error = std::current_exception();
        if (self)
            fail(error);
    }
}

void Store::publishSetAsideNotice() {
    // Only now: adopt() clears lastError, so the notice waits until after the load.
    if (m_setAsideNotice.isNull())
        return;
    setLastError(m_setAsideNotice);
    m_setAsideNotice = QString();
}
