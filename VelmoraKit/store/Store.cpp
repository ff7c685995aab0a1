#include "Store.h"

#include "StoreDetail_p.h"
#include "TokenParsing.h"

#include <QCoroSignal>
#include <QNetworkInformation>

using namespace StoreDetail;

namespace StoreDetail {

std::optional<APIError> asAPIError(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const APIError& e) {
        return e;
    } catch (...) {
        return std::nullopt;
    }
}

QString describe(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& e) {
        return errorDescription(e);
    } catch (...) {
        return QStringLiteral("Unknown error");
    }
}

} // namespace StoreDetail

namespace {

// Items, rules and focus compare as arrays (order counts) plus the hide-done setting.
bool changedForUser(const Document& a, const Document& b) {
    return a.items != b.items || a.rules != b.rules || a.focus != b.focus ||
           a.settings.hideDone != b.settings.hideDone;
}

} // namespace

Store::Store(APIClient* client, OfflineDisk disk, Keychain keychain, QObject* parent)
    : QObject(parent)
    , m_client(client)
    , m_disk(std::move(disk))
    , m_keychain(std::move(keychain)) {
    if (!m_client->parent())
        m_client->setParent(this);
    m_hasToken = !m_client->token().isEmpty();
    m_autoRefresh.setSingleShot(true);
    QObject::connect(&m_autoRefresh, &QTimer::timeout, this, [this] { autoRefreshTick(); });
    m_flashTimer.setSingleShot(true);
    m_flashTimer.setTimerType(Qt::PreciseTimer); // a notice never goes before its time
    QObject::connect(&m_flashTimer, &QTimer::timeout, this, [this] { setFlash({}); });
    m_saveTimer.setSingleShot(true);
    m_saveTimer.setInterval(0);
    QObject::connect(&m_saveTimer, &QTimer::timeout, this, &Store::flushSnapshot);
    restore();
}

Store::~Store() {
    flushSnapshot();
}

// --- observable setters: each notifies only on a real change ---

void Store::setDocument(Document document) {
    if (document == m_document)
        return;
    m_document = std::move(document);
    Q_EMIT documentChanged();
}

void Store::setQueue(QList<PendingOp> queue) {
    const bool countChanged = queue.size() != m_queue.size();
    m_queue = std::move(queue);
    if (countChanged)
        Q_EMIT queuedEditsChanged();
}

#define VELMORA_SETTER(name, field, type, signal)                                                  \
    void Store::name(type value) {                                                                 \
        if (field == value)                                                                        \
            return;                                                                                \
        field = value;                                                                             \
        Q_EMIT signal();                                                                           \
    }
VELMORA_SETTER(setLoading, m_isLoading, bool, isLoadingChanged)
VELMORA_SETTER(setHasToken, m_hasToken, bool, hasTokenChanged)
VELMORA_SETTER(setWaitingForKeyring, m_waitingForKeyring, bool, waitingForKeyringChanged)
VELMORA_SETTER(setOffline, m_isOffline, bool, isOfflineChanged)
VELMORA_SETTER(setLastRefresh, m_lastRefresh, const QDateTime&, lastRefreshChanged)
VELMORA_SETTER(setLastSyncedAt, m_lastSyncedAt, const QDateTime&, lastSyncedAtChanged)
VELMORA_SETTER(setSyncedVersion, m_syncedVersion, qint64, syncedVersionChanged)
VELMORA_SETTER(setSelection, m_selection, const QString&, selectionChanged)
VELMORA_SETTER(setLastError, m_lastError, const QString&, lastErrorChanged)
VELMORA_SETTER(setProposal, m_proposal, const std::optional<Proposal>&, proposalChanged)
VELMORA_SETTER(setLimitMessage, m_limitMessage, const QString&, limitMessageChanged)
VELMORA_SETTER(setPendingConflict, m_pendingConflict, std::optional<Sync::Conflict>,
               pendingConflictChanged)
#undef VELMORA_SETTER

void Store::setFlash(const QString& text) {
    if (text == m_flash)
        return;
    m_flash = text;
    Q_EMIT flashChanged();
}

void Store::announce(const QString& text) {
    setFlash(text);
    // A newer notice restarts the window; an older one never clears it.
    m_flashTimer.start(m_flashDurationMs);
}

void Store::clearError() {
    setLastError({});
}

void Store::clearLimitMessage() {
    setLimitMessage({});
}

void Store::fail(const std::exception_ptr& error) {
    if (Sync::isUnreachable(error))
        setOffline(true);
    else
        setLastError(describe(error));
}

// --- lifecycle ---

void Store::adopt(const LoadResult& loaded) {
    setDocument(loaded.document);
    m_syncedWire = loaded.wire;
    setSyncedVersion(loaded.version);
    const QDateTime now = QDateTime::currentDateTimeUtc();
    setLastSyncedAt(now);
    setLastRefresh(now);
    setLastError({});
    setOffline(false);
    persist();
}

QCoro::Task<bool> Store::connect(QString rawText) {
    QPointer<Store> self(this);
    const auto token = TokenParsing::extract(rawText);
    if (!token) {
        setLastError(QStringLiteral("That doesn't look like a token. Copy the token, or the "
                                    "connection URL, from the Connections page."));
        co_return false;
    }
    m_client->setToken(*token);
    LoadResult loaded;
    std::exception_ptr error;
    try {
        loaded = co_await m_client->loadForSync();
    } catch (...) {
        error = std::current_exception();
    }
    if (!self)
        co_return false;
    if (error) {
        // The keychain was not touched, so an earlier connection stays intact.
        setWaitingForKeyring(true);
        const auto stored = co_await m_keychain.readToken();
        if (!self)
            co_return false;
        setWaitingForKeyring(false);
        m_client->setToken(stored.value_or(QString()));
        setLastError(describe(error));
        co_return false;
    }
    setWaitingForKeyring(true);
    auto task = m_keychain.store(*token);
    co_await std::move(task);
    if (!self)
        co_return false;
    setWaitingForKeyring(false);
    setHasToken(true);
    adopt(loaded);
    publishSetAsideNotice();
    // Each read may outlive the Store, so each one after the first checks it is still here.
    co_await refreshProposal();
    if (!self)
        co_return false;
    co_await refreshLatestBriefing();
    if (!self)
        co_return false;
    co_await refreshUsage();
    co_return true;
}

QCoro::Task<> Store::disconnect() {
    QPointer<Store> self(this);
    co_await m_keychain.deleteToken();
    if (!self)
        co_return;
    m_client->setToken({});
    setHasToken(false);
    setDocument({});
    setProposal(std::nullopt);
    setSelection({});
    setLastError({});
    setQueue({}); // queued edits are lost, on purpose
    m_savedQueue = {};
    m_syncedWire.reset();
    setSyncedVersion(0);
    setLastSyncedAt({});
    setOffline(false);
    setPendingConflict(std::nullopt);
    setUsage(std::nullopt); // the figures were the account's
    stopWatchingForBriefing();
    setLatestBriefingAt(std::nullopt);
    setBriefingUnread(false);
    m_saveTimer.stop();
    m_disk.clear();
}

QCoro::Task<> Store::exclusive(const std::function<QCoro::Task<>()>& job) {
    QPointer<Store> self(this);
    while (m_inFlight) {
        co_await qCoro(this, &Store::inFlightFinished);
        if (!self)
            co_return;
    }
    m_inFlight = true;
    std::exception_ptr error;
    try {
        co_await job();
    } catch (...) {
        error = std::current_exception();
    }
    if (self) {
        m_inFlight = false;
        Q_EMIT inFlightFinished();
    }
    if (error)
        std::rethrow_exception(error);
}

QCoro::Task<> Store::refresh(bool announceChanges) {
    if (!m_hasToken)
        co_return;
    auto task =
        runExclusive([announceChanges](Store& store) { return store.runRefresh(announceChanges); });
    co_await std::move(task);
}

QCoro::Task<> Store::runRefresh(bool announceChanges) {
    QPointer<Store> self(this);
    refreshShared();
    if (!m_queue.isEmpty()) {
        co_await runSync();
        co_return;
    }
    setLoading(true);
    try {
        if (m_syncedWire) {
            const qint64 version = co_await m_client->version();
            if (!self)
                co_return;
            if (!m_queue.isEmpty()) {
                co_await runSync();
                if (self)
                    setLoading(false);
                co_return;
            }
            if (version == m_syncedVersion) {
                setOffline(false);
                setLastRefresh(QDateTime::currentDateTimeUtc());
                co_await refreshProposal();
                if (self)
                    setLoading(false);
                co_return;
            }
        }
        const LoadResult loaded = co_await m_client->loadForSync();
        if (!self)
            co_return;
        if (!m_queue.isEmpty()) {
            // An edit was queued meanwhile: it goes out before anything comes in.
            co_await runSync();
            if (self)
                setLoading(false);
            co_return;
        }
        const bool changed = changedForUser(loaded.document, m_document);
        adopt(loaded);
        publishSetAsideNotice();
        if (announceChanges && changed)
            announce(QStringLiteral("Updated with changes from elsewhere"));
        co_await refreshProposal();
        if (self)
            setLoading(false);
    } catch (...) {
        const auto error = std::current_exception();
        if (!self)
            co_return;
        fail(error);
        setLoading(false);
    }
}

QCoro::Task<> Store::refreshAfterSync() {
    if (!m_hasToken)
        co_return;
    auto task = runExclusive([](Store& store) { return store.runRefreshAfterSync(); });
    co_await std::move(task);
}

QCoro::Task<> Store::runRefreshAfterSync() {
    if (std::exchange(m_syncReached, false) && m_queue.isEmpty()) {
        refreshShared();
        co_return;
    }
    co_await runRefresh(false);
}

void Store::startAutoRefresh(int seconds) {
    m_autoRefresh.stop();
    m_autoRefresh.setInterval(seconds * 1000);
    m_autoRefresh.start();
}

QCoro::Task<> Store::autoRefreshTick() {
    QPointer<Store> self(this);
    if (m_hasToken) {
        auto task = runExclusive([](Store& store) { return store.runRefresh(true); });
        co_await std::move(task);
    }
    // The next tick is armed only after this refresh has ended.
    if (self)
        scheduleAutoRefresh();
}

void Store::scheduleAutoRefresh() {
    if (m_autoRefresh.interval() > 0 && !m_autoRefresh.isActive())
        m_autoRefresh.start();
}

void Store::stopAutoRefresh() {
    m_autoRefresh.stop();
    m_autoRefresh.setInterval(0);
}

void Store::startConnectivityMonitor() {
    if (m_monitorStarted)
        return;
    m_monitorStarted = true;
    if (!QNetworkInformation::loadDefaultBackend() &&
        !QNetworkInformation::loadBackendByFeatures(QNetworkInformation::Feature::Reachability))
        return; // no monitor here: the auto-refresh timer stays the way back
    auto* info = QNetworkInformation::instance();
    if (!info)
        return;
    auto report = [this](QNetworkInformation::Reachability reachability) {
        if (reachability == QNetworkInformation::Reachability::Unknown)
            return; // no information is no news
        pathUpdated(reachability != QNetworkInformation::Reachability::Disconnected);
    };
    QObject::connect(info, &QNetworkInformation::reachabilityChanged, this, report,
                     Qt::QueuedConnection);
    report(info->reachability());
}

void Store::pathUpdated(bool satisfied) {
    if (satisfied) {
        // A restored path is a reason to reconcile, not proof of anything.
        if (m_isOffline || !m_queue.isEmpty())
            sync();
    } else if (m_hasToken) {
        setOffline(true);
    }
}

QCoro::Task<> Store::runExclusive(std::function<QCoro::Task<>(Store&)> work) {
    // The job holds the Store weakly: it does nothing once the Store is gone.
    QPointer<Store> self(this);
    const std::function<QCoro::Task<>()> job = [self, work = std::move(work)]() -> QCoro::Task<> {
        if (self) {
            auto task = work(*self);
            co_await std::move(task);
        }
    };
    auto task = exclusive(job);
    co_await std::move(task);
}
