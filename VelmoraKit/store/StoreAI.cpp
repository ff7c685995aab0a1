// The Store's part in the briefing's tuning and the usage figures.

#include "Store.h"
#include "StoreDetail_p.h"

using StoreDetail::describe;

void Store::setUsage(const std::optional<Usage>& usage) {
    if (m_usage == usage)
        return;
    m_usage = usage;
    Q_EMIT usageChanged();
}

QCoro::Task<> Store::refreshUsage() {
    QPointer<Store> self(this);
    // Figures read with a token since replaced belong to another account, or to none.
    const QString token = m_client->token();
    try {
        auto task = m_client->usage();
        const Usage usage = co_await std::move(task);
        if (self && m_client->token() == token)
            setUsage(usage);
    } catch (...) {
        // Usage is advisory: a failed read keeps the figures shown.
    }
}

QCoro::Task<> Store::setFocus(QStringList terms) {
    QPointer<Store> self(this);
    const QStringList kept = m_document.focus;
    Document document = m_document;
    document.focus = terms;
    setDocument(std::move(document));
    try {
        auto task = m_client->setFocus(std::move(terms));
        const QStringList stored = co_await std::move(task);
        if (!self)
            co_return;
        Document confirmed = m_document;
        confirmed.focus = stored;
        setDocument(std::move(confirmed));
        persist();
    } catch (...) {
        const auto error = std::current_exception();
        if (!self)
            co_return;
        Document restored = m_document;
        restored.focus = kept;
        setDocument(std::move(restored));
        setLastError(describe(error));
    }
}
