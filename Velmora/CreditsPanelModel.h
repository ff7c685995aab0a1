#pragma once

#include "Store.h"

#include <QCoroTask>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QVariantList>

#include <optional>

// The Credits tab: the balance and the lots as the server keeps them; a lot's runs are
// fetched the first time it is opened and kept for the life of the screen, or until the
// token changes: the figures are one account's, so signing out or in drops them.
class CreditsPanelModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(Store* store READ store WRITE setStore NOTIFY storeChanged)
    Q_PROPERTY(bool loading READ loading NOTIFY changed)
    Q_PROPERTY(bool loadFailed READ loadFailed NOTIFY changed)
    Q_PROPERTY(bool hasSnapshot READ hasSnapshot NOTIFY changed)
    Q_PROPERTY(QString header READ header NOTIFY changed)
    Q_PROPERTY(qint64 total READ total NOTIFY changed)
    Q_PROPERTY(qint64 included READ included NOTIFY changed)
    Q_PROPERTY(QString includedDetail READ includedDetail NOTIFY changed)
    Q_PROPERTY(qint64 extra READ extra NOTIFY changed)
    Q_PROPERTY(bool monthly READ monthly NOTIFY changed)
    // {id, title, status, used, expanded, runsLoaded, runs: [{date, words}]}, in the
    // server's order.
    Q_PROPERTY(QVariantList lots READ lots NOTIFY changed)

public:
    explicit CreditsPanelModel(QObject* parent = nullptr);

    Store* store() const { return m_store; }
    void setStore(Store* store);
    bool loading() const { return m_loading; }
    bool loadFailed() const { return m_loadFailed; }
    bool hasSnapshot() const { return m_snapshot.has_value(); }
    const std::optional<CreditsSnapshot>& snapshot() const { return m_snapshot; }
    QString header() const;
    qint64 total() const;
    qint64 included() const;
    QString includedDetail() const;
    qint64 extra() const;
    bool monthly() const;
    QVariantList lots() const;

    // Loads with the Store's token; does nothing while a load runs or without a token.
    Q_INVOKABLE void load();
    // Opens or closes a lot's runs.
    Q_INVOKABLE void toggle(const QString& lotId);

    QCoro::Task<> runLoad();
    QCoro::Task<> fetchRuns(QString lotId);

Q_SIGNALS:
    void storeChanged();
    void changed();

private:
    // Forgets every figure and answer still on its way, then loads afresh.
    void restart();

    QPointer<Store> m_store;
    QList<QMetaObject::Connection> m_connections;
    // Counts restarts: an answer sent before the last one is dropped.
    quint64 m_generation = 0;
    std::optional<CreditsSnapshot> m_snapshot;
    QHash<QString, QList<CreditRun>> m_runs;
    QSet<QString> m_expanded;
    QSet<QString> m_fetching;
    bool m_loading = false;
    bool m_loadFailed = false;
};
