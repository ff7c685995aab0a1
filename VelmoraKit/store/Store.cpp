#include "Store.h"

#include "ProposalReview.h"
#include "TokenParsing.h"
#include "WireFormats.h"
#include "WireJson.h"

#include <QCoroSignal>
#include <QNetworkInformation>

namespace {

template <typename... Ts>
struct Overloaded : Ts... {
    using Ts::operator()...;
};

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

// Items, rules and focus compare as arrays (order counts) plus the hide-done setting.
bool changedForUser(const Document& a, const Document& b) {
    return a.items != b.items || a.rules != b.rules || a.focus != b.focus ||
           a.settings.hideDone != b.settings.hideDone;
}

std::optional<QString> nullIfEmpty(const std::optional<QString>& text) {
    return text && !text->isEmpty() ? text : std::nullopt;
}

std::optional<QString> dueDay(const std::optional<QDateTime>& due) {
    return due ? std::optional(LocalDay::string(*due)) : std::nullopt;
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

// --- the file ---

void Store::restore() {
    m_disk.removeStrayTemporaries();
    const auto snapshot = m_disk.load();
    if (!snapshot || !WireCompat::decodeDocument(snapshot->wireDocument))
        return;
    m_syncedWire = snapshot->wireDocument;
    m_syncedVersion = snapshot->syncedVersion;
    m_lastSyncedAt = snapshot->syncedAt;
    m_queue = snapshot->queue;
    m_strikes = snapshot->strikes;
    if (auto rebuilt = rebuiltFromBaseline())
        m_document = std::move(*rebuilt);
}

void Store::persist() {
    if (!m_deferredSaves)
        return flushSnapshot();
    if (!m_saveTimer.isActive())
        m_saveTimer.start();
}

void Store::flushSnapshot() {
    m_saveTimer.stop();
    if (!m_syncedWire)
        return;
    m_strikes.removeIf([this](const auto& entry) { return !m_queue.contains(entry.key()); });
    OfflineSnapshot snapshot;
    snapshot.wireDocument = *m_syncedWire;
    snapshot.syncedVersion = m_syncedVersion;
    snapshot.syncedAt = m_lastSyncedAt.isValid() ? m_lastSyncedAt : QDateTime::currentDateTimeUtc();
    snapshot.queue = m_queue;
    snapshot.strikes = m_strikes;
    m_disk.save(snapshot);
}

std::optional<Document> Store::rebuiltFromBaseline() const {
    if (!m_syncedWire)
        return std::nullopt;
    const auto wire = WireCompat::decodeDocument(*m_syncedWire);
    if (!wire)
        return std::nullopt;
    Document document = WireMapping::document(*wire);
    for (const auto& op : m_queue)
        PendingOps::apply(op, document, QDateTime::currentDateTimeUtc());
    return document;
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
        const auto stored = co_await m_keychain.readToken();
        if (!self)
            co_return false;
        m_client->setToken(stored.value_or(QString()));
        setLastError(describe(error));
        co_return false;
    }
    auto task = m_keychain.store(*token);
    co_await std::move(task);
    if (!self)
        co_return false;
    setHasToken(true);
    adopt(loaded);
    co_await refreshProposal();
    co_await refreshLatestBriefing();
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
    setSelection({});
    setLastError({});
    setQueue({}); // queued edits are lost, on purpose
    m_syncedWire.reset();
    setSyncedVersion(0);
    setLastSyncedAt({});
    setOffline(false);
    setPendingConflict(std::nullopt);
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

// --- hooks ---

QCoro::Task<> Store::refreshProposal() {
    if (m_isOffline)
        co_return;
    QPointer<Store> self(this);
    try {
        auto task = m_client->loadProposal();
        const std::optional<Proposal> loaded = co_await std::move(task);
        if (self)
            setProposal(loaded);
    } catch (...) {
        // Discarded on purpose: the proposal already held stays on show.
    }
}

QCoro::Task<bool> Store::resolveProposal(QList<ProposalDelta> accepted,
                                         QList<ProposalDelta> rejected) {
    const QString needsConnection = QStringLiteral("Reviewing suggestions needs the connection.");
    if (!canReview()) {
        setLastError(needsConnection);
        co_return false;
    }
    if (!m_proposal || !m_proposal->createdAtRaw) {
        setLastError(QStringLiteral("These suggestions are no longer pending."));
        co_return false;
    }
    const ResolveArguments args = ProposalReview::resolveArguments(accepted, rejected);
    QPointer<Store> self(this);
    std::exception_ptr error;
    try {
        // The server applies what was accepted; the list changes with the reload below.
        auto resolve = m_client->resolveProposal(*m_proposal->createdAtRaw, args.accepted,
                                                 args.rejected, args.titleEdits);
        co_await std::move(resolve);
        if (!self)
            co_return false;
        setProposal(std::nullopt);
        auto load = m_client->loadForSync();
        const LoadResult loaded = co_await std::move(load);
        if (!self)
            co_return false;
        adopt(loaded);
    } catch (...) {
        error = std::current_exception();
    }
    if (!self)
        co_return false;
    if (error) {
        if (Sync::isUnreachable(error)) {
            setOffline(true);
            setLastError(needsConnection);
        } else if (const auto api = asAPIError(error);
                   api && api->kind() == APIError::Kind::server) {
            setLastError(Sync::limitText(api->body()));
        } else {
            setLastError(describe(error));
        }
        co_return false;
    }
    // A further proposal may already wait.
    auto next = refreshProposal();
    co_await std::move(next);
    co_return true;
}

// --- rules ---

QCoro::Task<bool> Store::createRule(RuleAction action, RuleField field, RuleOp op, QString value,
                                    std::optional<Section> target, QString reason) {
    QPointer<Store> self(this);
    try {
        auto task = m_client->createRule(action, field, op, value, target, reason);
        const WireRule wire = co_await std::move(task);
        if (!self)
            co_return false;
        Document document = m_document;
        document.rules.append(WireMapping::rule(wire));
        setDocument(std::move(document));
        co_return true;
    } catch (...) {
        if (!self)
            co_return false;
        const auto error = std::current_exception();
        const auto api = asAPIError(error);
        setLastError(api && api->kind() == APIError::Kind::server ? Sync::limitText(api->body())
                                                                  : describe(error));
        co_return false;
    }
}

qsizetype Store::ruleIndex(const QString& id) const {
    const auto it = std::find_if(m_document.rules.cbegin(), m_document.rules.cend(),
                                 [&](const Rule& r) { return r.id == id; });
    return it - m_document.rules.cbegin();
}

QCoro::Task<> Store::setRulePaused(Rule rule, bool paused) {
    const qsizetype index = ruleIndex(rule.id);
    if (index >= m_document.rules.size())
        co_return;
    const RuleStatus before = m_document.rules.at(index).status;
    Document document = m_document;
    document.rules[index].status = paused ? RuleStatus::paused : RuleStatus::active;
    setDocument(std::move(document));

    auto sent = m_client->setRulePaused(rule.id, paused);
    auto task = finishRuleChange(std::move(sent), [this, id = rule.id, before] {
        // A refresh may have replaced the list meanwhile: look the rule up again.
        const qsizetype now = ruleIndex(id);
        if (now >= m_document.rules.size())
            return;
        Document restored = m_document;
        restored.rules[now].status = before;
        setDocument(std::move(restored));
    });
    co_await std::move(task);
}

QCoro::Task<> Store::deleteRule(Rule rule) {
    const qsizetype index = ruleIndex(rule.id);
    if (index >= m_document.rules.size())
        co_return;
    const Rule removed = m_document.rules.at(index);
    Document document = m_document;
    document.rules.removeAt(index);
    setDocument(std::move(document));

    auto sent = m_client->deleteRule(rule.id);
    auto task = finishRuleChange(std::move(sent), [this, removed, index] {
        if (ruleIndex(removed.id) < m_document.rules.size())
            return;
        Document restored = m_document;
        restored.rules.insert(std::min(index, restored.rules.size()), removed);
        setDocument(std::move(restored));
    });
    co_await std::move(task);
}

QCoro::Task<> Store::finishRuleChange(QCoro::Task<> sent, std::function<void()> putBack) {
    QPointer<Store> self(this);
    std::exception_ptr error;
    try {
        co_await std::move(sent);
    } catch (...) {
        error = std::current_exception();
    }
    if (!self)
        co_return;
    if (!error) {
        auto refreshed = refreshAfterRuleChange();
        co_await std::move(refreshed);
        co_return;
    }
    putBack();
    setLastError(describe(error));
}

QCoro::Task<> Store::refreshAfterRuleChange() {
    if (!m_hasToken)
        co_return;
    // refresh() waits for a job already in flight before running its own.
    auto task = refresh(false);
    co_await std::move(task);
}

void Store::refreshShared() {}

QCoro::Task<> Store::refreshLatestBriefing() {
    co_return;
}

QCoro::Task<> Store::refreshUsage() {
    co_return;
}

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
                                Priority priority, QList<ItemLink> links) {
    PendingOps::Update op{item.id,     title,    nullIfEmpty(note), nullIfEmpty(source),
                          dueDay(due), priority, savedLinks(links)};
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
                                     o->priority, itemLinks(o->links));
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

// --- sync and conflicts ---

QCoro::Task<> Store::sync() {
    if (!m_hasToken)
        co_return;
    auto task = runExclusive([](Store& store) { return store.runSync(); });
    co_await std::move(task);
}

QCoro::Task<> Store::runSync() {
    QPointer<Store> self(this);
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
            break;
        }
        case SyncDecision::adoptServerSilently: {
            const bool wasOffline = m_isOffline;
            const LoadResult loaded = co_await m_client->loadForSync();
            if (!self)
                co_return;
            adopt(loaded);
            if (wasOffline)
                announce(QStringLiteral("Synced"));
            co_await refreshProposal();
            break;
        }
        case SyncDecision::askUser:
            setOffline(false);
            setPendingConflict(Sync::Conflict{int(m_queue.size())});
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
    return Sync::setAsideMessage(title);
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

void Store::publishSetAsideNotice() {
    // Only now: adopt() clears lastError, so the notice waits until after the load.
    if (m_setAsideNotice.isNull())
        return;
    setLastError(m_setAsideNotice);
    m_setAsideNotice = QString();
}
