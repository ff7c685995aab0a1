// The Store's list queries and the restore of a deleted item, kept apart from the engine.

#include "Store.h"

QList<Item> Store::todayItems(const QDateTime& now) const {
    return ListQueries::todayItems(m_document, now);
}

QList<Item> Store::visibleItems(const QDateTime& now) const {
    return ListQueries::visibleItems(m_document, m_view.settings(), now);
}

QMap<Section, int> Store::sectionCounts(const QDateTime& now) const {
    return ListQueries::sectionCounts(m_document, m_view.settings(), now);
}

int Store::dueCount(const QDateTime& now) const {
    return ListQueries::dueCount(m_document, now);
}

int Store::overdueCount(const QDateTime& now) const {
    return ListQueries::overdueCount(m_document, now);
}

int Store::badgeCount() const {
    return ListQueries::badgeCount(m_proposal && !m_proposal->deltas.isEmpty(), m_sharedWaiting,
                                   m_briefingUnread);
}

std::optional<Item> Store::item(const QString& id) const {
    return ListQueries::item(m_document, id);
}

QString Store::takeLimitMessage() {
    QString message = m_limitMessage;
    setLimitMessage({});
    return message;
}

QCoro::Task<> Store::undoDelete(QString id) {
    // Offline the delete may still be queued: nothing to restore, and nothing to say.
    if (m_isOffline)
        co_return;
    QPointer<Store> self(this);
    std::exception_ptr error;
    try {
        auto restore = m_client->restore(id);
        co_await std::move(restore);
        auto load = m_client->loadForSync();
        const LoadResult loaded = co_await std::move(load);
        if (self)
            adopt(loaded);
    } catch (...) {
        error = std::current_exception();
    }
    // A restore is never queued: unreachable only turns offline on, and the item stays gone.
    if (error && self)
        fail(error);
}
