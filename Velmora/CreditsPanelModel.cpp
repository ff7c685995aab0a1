#include "CreditsPanelModel.h"

#include "Credits.h"

CreditsPanelModel::CreditsPanelModel(QObject* parent)
    : QObject(parent) {}

void CreditsPanelModel::setStore(Store* store) {
    if (m_store == store)
        return;
    for (const auto& connection : m_connections)
        QObject::disconnect(connection);
    m_connections.clear();
    m_store = store;
    if (store)
        m_connections << connect(store, &Store::hasTokenChanged, this, &CreditsPanelModel::load)
                      << connect(&store->client(), &APIClient::tokenChanged, this,
                                 &CreditsPanelModel::restart);
    Q_EMIT storeChanged();
    restart();
}

void CreditsPanelModel::restart() {
    ++m_generation;
    m_snapshot.reset();
    m_runs.clear();
    m_expanded.clear();
    m_fetching.clear();
    m_loading = false;
    m_loadFailed = false;
    Q_EMIT changed();
    load();
}

QString CreditsPanelModel::header() const {
    return m_snapshot ? CreditWords::headerLine(m_snapshot->credits) : QString();
}

qint64 CreditsPanelModel::total() const {
    return m_snapshot ? m_snapshot->credits.total() : 0;
}

qint64 CreditsPanelModel::included() const {
    return m_snapshot ? m_snapshot->credits.included : 0;
}

QString CreditsPanelModel::includedDetail() const {
    if (!m_snapshot || !m_snapshot->credits.includedExpiresAt)
        return {};
    return QStringLiteral("Resets ") +
           CreditWords::shortDate(*m_snapshot->credits.includedExpiresAt);
}

qint64 CreditsPanelModel::extra() const {
    return m_snapshot ? m_snapshot->credits.extra : 0;
}

bool CreditsPanelModel::monthly() const {
    return m_snapshot && m_snapshot->credits.creditsPerMonth >= 1;
}

QVariantList CreditsPanelModel::lots() const {
    QVariantList rows;
    if (!m_snapshot)
        return rows;
    for (const CreditLot& lot : m_snapshot->lots) {
        QVariantList runs;
        const auto fetched = m_runs.constFind(lot.id);
        if (fetched != m_runs.cend())
            for (const CreditRun& run : *fetched)
                runs.append(
                    QVariantMap{{QStringLiteral("date"), CreditWords::shortDate(run.startedAt)},
                                {QStringLiteral("words"), CreditWords::runLine(run)}});
        rows.append(QVariantMap{{QStringLiteral("id"), lot.id},
                                {QStringLiteral("title"), CreditWords::title(lot)},
                                {QStringLiteral("status"), CreditWords::statusLine(lot)},
                                {QStringLiteral("used"), CreditWords::usedLine(lot)},
                                {QStringLiteral("expanded"), m_expanded.contains(lot.id)},
                                {QStringLiteral("runsLoaded"), fetched != m_runs.cend()},
                                {QStringLiteral("runs"), runs}});
    }
    return rows;
}

void CreditsPanelModel::load() {
    runLoad();
}

QCoro::Task<> CreditsPanelModel::runLoad() {
    // The client's token empties before hasToken falls, while the Store signs out.
    if (!m_store || !m_store->hasToken() || m_store->client().token().isEmpty() || m_loading)
        co_return;
    QPointer<CreditsPanelModel> self(this);
    const quint64 generation = m_generation;
    m_loading = true;
    Q_EMIT changed();
    const std::unique_ptr<APIClient> client = m_store->freshClient();
    try {
        auto task = client->credits();
        CreditsSnapshot snapshot = co_await std::move(task);
        if (!self || generation != m_generation)
            co_return;
        m_snapshot = std::move(snapshot);
        m_loadFailed = false;
    } catch (...) {
        if (!self || generation != m_generation)
            co_return;
        m_loadFailed = true;
    }
    m_loading = false;
    Q_EMIT changed();
}

void CreditsPanelModel::toggle(const QString& lotId) {
    if (m_expanded.remove(lotId)) {
        Q_EMIT changed();
        return;
    }
    m_expanded.insert(lotId);
    Q_EMIT changed();
    if (!m_runs.contains(lotId))
        fetchRuns(lotId);
}

QCoro::Task<> CreditsPanelModel::fetchRuns(QString lotId) {
    // One fetch at a time per lot: a quick close and reopen doesn't ask twice.
    if (!m_store || m_fetching.contains(lotId))
        co_return;
    QPointer<CreditsPanelModel> self(this);
    const quint64 generation = m_generation;
    m_fetching.insert(lotId);
    const std::unique_ptr<APIClient> client = m_store->freshClient();
    try {
        auto task = client->credits(lotId);
        CreditsSnapshot reply = co_await std::move(task);
        if (!self || generation != m_generation)
            co_return;
        m_runs.insert(lotId, std::move(reply.runs));
        Q_EMIT changed();
    } catch (...) {
        // No entry: the next opening tries again; meanwhile the row says "Loading…".
    }
    if (self && generation == m_generation)
        m_fetching.remove(lotId);
}
