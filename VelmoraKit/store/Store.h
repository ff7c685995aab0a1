#pragma once

#include "APIClient.h"
#include "Keychain.h"
#include "ListQueries.h"
#include "OfflineSnapshot.h"
#include "PendingOp.h"
#include "Records.h"
#include "SecretStore.h" // the keyrings a Keychain is made over
#include "Sync.h"

#include <QCoroTask>
#include <QDateTime>
#include <QObject>
#include <QPointer>
#include <QTimer>

#include <chrono>
#include <functional>
#include <optional>

// The one observable state object: every screen reads it and every change of the list goes
// through it. Lives on the main thread; its properties notify only on a real change.
class Store : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isLoading READ isLoading NOTIFY isLoadingChanged)
    Q_PROPERTY(QString lastError READ lastError NOTIFY lastErrorChanged)
    Q_PROPERTY(bool hasToken READ hasToken NOTIFY hasTokenChanged)
    Q_PROPERTY(QDateTime lastRefresh READ lastRefresh NOTIFY lastRefreshChanged)
    Q_PROPERTY(QString flash READ flash NOTIFY flashChanged)
    Q_PROPERTY(QString limitMessage READ limitMessage NOTIFY limitMessageChanged)
    Q_PROPERTY(bool isOffline READ isOffline NOTIFY isOfflineChanged)
    Q_PROPERTY(int queuedEdits READ queuedEdits NOTIFY queuedEditsChanged)
    Q_PROPERTY(bool hasPendingConflict READ hasPendingConflict NOTIFY pendingConflictChanged)
    Q_PROPERTY(QDateTime lastSyncedAt READ lastSyncedAt NOTIFY lastSyncedAtChanged)
    Q_PROPERTY(qint64 syncedVersion READ syncedVersion NOTIFY syncedVersionChanged)
    Q_PROPERTY(QString selection READ selection WRITE setSelection NOTIFY selectionChanged)
    Q_PROPERTY(ViewState* view READ view CONSTANT)
    Q_PROPERTY(bool canUndoDelete READ canUndoDelete NOTIFY isOfflineChanged)
    Q_PROPERTY(QStringList focus READ focus NOTIFY documentChanged)
    Q_PROPERTY(bool briefingUnread READ briefingUnread NOTIFY briefingUnreadChanged)
    Q_PROPERTY(bool briefingRunning READ briefingRunning NOTIFY briefingRunningChanged)
    Q_PROPERTY(bool briefingJustLanded READ briefingJustLanded NOTIFY briefingJustLandedChanged)
    Q_PROPERTY(int sharedWaiting READ sharedWaiting NOTIFY sharedWaitingChanged)
    Q_PROPERTY(bool showsWelcome READ showsWelcome NOTIFY needsWelcomeChanged)

public:
    // `client` is given with the token the keychain held at launch (or none). The snapshot
    // is restored here, without any network traffic.
    Store(APIClient* client, OfflineDisk disk, Keychain keychain, QObject* parent = nullptr);
    ~Store() override;

    // --- observable state ---
    const Document& document() const { return m_document; }
    bool isLoading() const { return m_isLoading; }
    const QString& lastError() const { return m_lastError; }
    bool hasToken() const { return m_hasToken; }
    const QDateTime& lastRefresh() const { return m_lastRefresh; }
    const QString& flash() const { return m_flash; }
    const QString& limitMessage() const { return m_limitMessage; }
    bool isOffline() const { return m_isOffline; }
    int queuedEdits() const { return int(m_queue.size()); }
    const std::optional<Sync::Conflict>& pendingConflict() const { return m_pendingConflict; }
    bool hasPendingConflict() const { return m_pendingConflict.has_value(); }
    const QDateTime& lastSyncedAt() const { return m_lastSyncedAt; }
    qint64 syncedVersion() const { return m_syncedVersion; }
    const QString& selection() const { return m_selection; }
    void setSelection(const QString& id);
    const QString& setAsideNotice() const { return m_setAsideNotice; }
    // The agent's pending proposal; null when nothing waits for review.
    const std::optional<Proposal>& proposal() const { return m_proposal; }
    bool canReview() const { return !m_isOffline && m_hasToken; }

    // --- not observed by screens ---
    APIClient& client() { return *m_client; }
    // A new client for a screen's own calls: this Store's base URL and current token.
    std::unique_ptr<APIClient> freshClient() const { return m_client->fresh(); }
    const OfflineDisk& disk() const { return m_disk; }
    const QList<PendingOp>& queue() const { return m_queue; }
    const QHash<PendingOp, int>& strikes() const { return m_strikes; }
    const std::optional<QByteArray>& syncedWire() const { return m_syncedWire; }

    // --- lifecycle and refresh ---
    QCoro::Task<bool> connect(QString rawText);
    QCoro::Task<> disconnect();
    QCoro::Task<> refresh(bool announceChanges);
    QCoro::Task<> sync();
    void startAutoRefresh(int seconds);
    void stopAutoRefresh();
    void startConnectivityMonitor();
    // What the connectivity monitor reports, on the main thread.
    void pathUpdated(bool satisfied);
    Q_INVOKABLE void clearError();
    void clearLimitMessage();
    void adopt(const LoadResult& loaded);
    // Refreshes, syncs and conflict answers run one at a time through here. The job is
    // held by reference: callers keep it in a named variable and await the result (g++ 12
    // mishandles temporaries that live across a co_await).
    QCoro::Task<> exclusive(const std::function<QCoro::Task<>()>& job);

    // --- edits ---
    QCoro::Task<bool> add(QString title, std::optional<QString> note, std::optional<QString> source,
                          Section section, std::optional<QDateTime> due, Priority priority,
                          QList<ItemLink> links, QString localID);
    QCoro::Task<bool> update(Item item, QString title, std::optional<QString> note,
                             std::optional<QString> source, std::optional<QDateTime> due,
                             Priority priority, QList<ItemLink> links,
                             std::optional<Section> section = std::nullopt);
    QCoro::Task<> toggle(Item item);
    QCoro::Task<> setFlagged(Item item, bool flagged);
    QCoro::Task<> deleteItem(Item item);
    QCoro::Task<> setHideDone(bool value);

    // --- conflicts ---
    QCoro::Task<> resolveConflictKeepingMine();
    QCoro::Task<> resolveConflictKeepingOnline();
    QString setAsideMessage(const PendingOp& op) const;
    // The title of the task a queued edit touches, from the edit, the list or the baseline.
    std::optional<QString> queuedTitle(const PendingOp& op) const;

    // --- the file ---
    // Saves the snapshot. A change of the queue or of its strike counts is written at once,
    // before any request that follows it. With deferred saves, a new baseline alone is
    // written once the current event has been handled (several in one turn then save once):
    // losing it to a kill costs a reload, never an edit.
    void persist();
    // Writes a pending save now.
    void flushSnapshot();
    // The app defers; a baseline's save is then at most `delayMs` behind (the app writes it
    // sooner, right after the next frame), and the Store's end writes what is pending.
    void setDeferredSaves(bool deferred, int delayMs = 0) {
        m_deferredSaves = deferred;
        m_saveTimer.setInterval(delayMs);
    }
    bool savePending() const { return m_saveTimer.isActive(); }
    std::optional<Document> rebuiltFromBaseline() const;

    // --- notices ---
    void announce(const QString& text);
    void setFlashDuration(int ms) { m_flashDurationMs = ms; }

    // --- list queries (StoreQueries.cpp): recomputed from the document at each call ---
    // The search, sort and filters; each of its fields notifies on its own.
    ViewState* view() const { return &m_view; }
    QList<Item> todayItems(const QDateTime& now) const;
    QList<Item> visibleItems(const QDateTime& now) const;
    QMap<Section, int> sectionCounts(const QDateTime& now) const;
    int dueCount(const QDateTime& now) const;
    int overdueCount(const QDateTime& now) const;
    // Kinds of thing waiting for the user (0, 1 or 2), for clients with an icon badge.
    int badgeCount() const;
    // Filled by task sharing and the briefing when they land; they feed badgeCount.
    int sharedWaiting() const { return m_sharedWaiting; }
    bool briefingUnread() const { return m_briefingUnread; }
    bool isFiltered() const { return m_view.isFiltered(); }
    bool isViewCustomised() const { return m_view.isViewCustomised(); }
    bool isGrouped() const { return m_view.isGrouped(); }
    void clearFilters() { m_view.clearFilters(); }
    std::optional<Item> item(const QString& id) const;

    // --- undo and hand-over of notices (StoreQueries.cpp) ---
    // A queued delete has nothing on the server to restore yet.
    bool canUndoDelete() const { return !m_isOffline; }
    QCoro::Task<> undoDelete(QString id);
    // The window copies a cap refusal and resets it here at once, so that the same refusal
    // can show again.
    QString takeLimitMessage();

    // Hooks into the proposal, sharing, briefing and usage features; no-ops until they land.
    QCoro::Task<> refreshProposal();
    // Answers the pending proposal in one call; true when the server took the answer.
    // Failures end in lastError or offline, never in the caller.
    QCoro::Task<bool> resolveProposal(QList<ProposalDelta> accepted, QList<ProposalDelta> rejected);

    // --- rules: optimistic; a failure puts the rule back, found again by id ---
    const QList<Rule>& rules() const { return m_document.rules; }
    QCoro::Task<bool> createRule(RuleAction action, RuleField field, RuleOp op, QString value,
                                 std::optional<Section> target, QString reason);
    QCoro::Task<> setRulePaused(Rule rule, bool paused);
    QCoro::Task<> deleteRule(Rule rule);
    void refreshShared();
    QCoro::Task<> refreshLatestBriefing();
    // Reads the account's usage on this Store's client; a failure keeps the old value.
    QCoro::Task<> refreshUsage();

    // --- the briefing's tuning and meters (StoreAI.cpp) ---
    // The last usage the server reported; null until the first read.
    const std::optional<Usage>& usage() const { return m_usage; }
    const QStringList& focus() const { return m_document.focus; }
    // Optimistic: the list shows at once; the server's list is final; a failure puts the
    // old list back and reports in lastError. The caller cleans the list first.
    QCoro::Task<> setFocus(QStringList terms);

    // --- the daily briefing (StoreBriefing.cpp) ---
    // `createdAt` of the newest briefing this Store has seen; null when none.
    const std::optional<QDateTime>& latestBriefingAt() const { return m_latestBriefingAt; }
    bool briefingRunning() const { return m_briefingRunning; }
    // A watch saw a newer briefing; stays until clearBriefingLanded.
    bool briefingJustLanded() const { return m_briefingJustLanded; }
    bool isWatchingForBriefing() const { return m_briefingWatch != nullptr; }
    // Asks for a run (failing as the run does), then watches for its result.
    QCoro::Task<> startBriefing();
    // Up to 24 polls of the newest briefing, one interval apart, until one other than
    // `newerThan` shows. A new watch replaces the one running.
    void watchForBriefing(std::optional<QDateTime> newerThan);
    void stopWatchingForBriefing();
    void clearBriefingLanded();
    // Clears the unread mark at once, then tells the server; a failure is dropped.
    QCoro::Task<> markBriefingSeen();
    // Tests shorten the five seconds between polls.
    void setBriefingPollInterval(std::chrono::milliseconds interval) {
        m_briefingPollInterval = interval;
    }
    static constexpr int briefingPolls = 24;
    // --- task sharing (StorePeople.cpp) ---
    // What a look at the inbox says is waiting; the refresh's own look lands here too.
    void setSharedWaitingFromInbox(const ShareInbox& inbox);
    // --- the welcome and the account (StoreSettings.cpp) ---
    // Null until the server has answered for this account.
    const std::optional<bool>& needsWelcome() const { return m_needsWelcome; }
    bool showsWelcome() const { return m_needsWelcome == true; }
    // Asks the server; a failure leaves needsWelcome as it was, silently.
    QCoro::Task<> refreshWelcome();
    // Hides the welcome at once, then tells the server; a failure is ignored.
    QCoro::Task<> dismissWelcome();
    // For the next account: unknown until asked.
    void forgetWelcome() { setNeedsWelcome(std::nullopt); }
    enum class AccountDeletion { deleted, appleAuthRequired, failed };
    // Deletes the account on the server and, when it is gone, disconnects this device.
    QCoro::Task<AccountDeletion> deleteAccount(std::optional<QString> appleCode, bool force);
    // The refresh of the launch, right after its sync: when that sync reached the server
    // (version, proposal, and the document if it had moved) and nothing was queued since,
    // only what a refresh adds to a sync runs, so no call goes out twice; else a refresh.
    QCoro::Task<> refreshAfterSync();

Q_SIGNALS:
    void documentChanged();
    void isLoadingChanged();
    void lastErrorChanged();
    void hasTokenChanged();
    void lastRefreshChanged();
    void flashChanged();
    void limitMessageChanged();
    void isOfflineChanged();
    void queuedEditsChanged();
    void pendingConflictChanged();
    void lastSyncedAtChanged();
    void syncedVersionChanged();
    void selectionChanged();
    void proposalChanged();
    void usageChanged();
    void latestBriefingAtChanged();
    void briefingUnreadChanged();
    void briefingRunningChanged();
    void briefingJustLandedChanged();
    void sharedWaitingChanged();
    void needsWelcomeChanged();
    // Internal: the exclusive job in flight has ended.
    void inFlightFinished();
    // Internal: an add's send has ended, with or without a server id.
    void addSettled();

private:
    QCoro::Task<> runRefresh(bool announceChanges);
    QCoro::Task<> runSync();
    QCoro::Task<> runKeepingMine();
    QCoro::Task<> runKeepingOnline();
    // exclusive() for a piece of work on this Store, which the job holds weakly.
    QCoro::Task<> runExclusive(std::function<QCoro::Task<>(Store&)> work);
    void publishSetAsideNotice();
    QCoro::Task<> refreshAfterRuleChange();
    // Awaits a rule call sent optimistically: refreshes on success, else puts the rule back
    // (by id, never through a kept index) and reports the failure.
    QCoro::Task<> finishRuleChange(QCoro::Task<> sent, std::function<void()> putBack);
    qsizetype ruleIndex(const QString& id) const;
    QCoro::Task<> replayQueue();
    // The edit on the document at once; observers hear of it only if something changed.
    void applyLocally(const PendingOp& op);
    QCoro::Task<bool> perform(PendingOp op);
    QCoro::Task<> execute(PendingOp op);
    QCoro::Task<QString> sendAdd(PendingOps::Add add);
    // Waits for the send of the add that made op's task, if one is under way, and points op
    // at the server's id once that is known.
    QCoro::Task<PendingOp> afterItsAdd(PendingOp op);
    QCoro::Task<> rollBack();
    void adoptServerID(const QString& serverID, const QString& localID);
    void drop(const PendingOp& op);
    void fail(const std::exception_ptr& error); // offline or lastError
    void restore();
    QCoro::Task<> autoRefreshTick();
    void scheduleAutoRefresh();

    void setDocument(Document document);
    void setQueue(QList<PendingOp> queue);
    void setLoading(bool value);
    void setLastError(const QString& text);
    void setHasToken(bool value);
    void setLastRefresh(const QDateTime& at);
    void setFlash(const QString& text);
    void setLimitMessage(const QString& text);
    void setOffline(bool value);
    void setPendingConflict(std::optional<Sync::Conflict> conflict);
    void setLastSyncedAt(const QDateTime& at);
    void setSyncedVersion(qint64 version);
    void setProposal(const std::optional<Proposal>& proposal);
    void setUsage(const std::optional<Usage>& usage);
    void setLatestBriefingAt(const std::optional<QDateTime>& at);
    void setBriefingUnread(bool value);
    void setBriefingRunning(bool value);
    void setBriefingJustLanded(bool value);
    friend class BriefingWatch;
    // StorePeople.cpp: written only on a real change.
    void setSharedWaiting(int count);
    void setNeedsWelcome(std::optional<bool> value);

    APIClient* m_client;
    OfflineDisk m_disk;
    Keychain m_keychain;

    Document m_document;
    bool m_isLoading = false;
    QString m_lastError;
    bool m_hasToken = false;
    QDateTime m_lastRefresh;
    QString m_flash;
    QString m_limitMessage;
    bool m_isOffline = false;
    std::optional<Sync::Conflict> m_pendingConflict;
    QDateTime m_lastSyncedAt;
    std::optional<QByteArray> m_syncedWire;
    qint64 m_syncedVersion = 0;
    QList<PendingOp> m_queue;
    QHash<PendingOp, int> m_strikes;
    QString m_setAsideNotice;
    QString m_selection;
    int m_sharedWaiting = 0;
    bool m_briefingUnread = false;
    std::optional<Proposal> m_proposal;
    std::optional<Usage> m_usage;
    std::optional<bool> m_needsWelcome;

    bool m_inFlight = false;
    QSet<QString> m_addsInFlight;       // local ids whose add is being sent
    QHash<QString, QString> m_sentAdds; // local id -> the server's id
    QTimer m_autoRefresh;
    bool m_monitorStarted = false;
    QTimer m_flashTimer;
    QTimer m_saveTimer;
    bool m_deferredSaves = false;
    QList<PendingOp> m_savedQueue; // as last written
    QHash<PendingOp, int> m_savedStrikes;
    int m_flashDurationMs = 2600;

    mutable ViewState m_view{this};

    std::optional<QDateTime> m_latestBriefingAt;
    bool m_briefingRunning = false;
    bool m_briefingJustLanded = false;
    // The watch, a child of this Store: cancelled by deleting it.
    QPointer<QObject> m_briefingWatch;
    std::chrono::milliseconds m_briefingPollInterval{5000};
    QCoro::Task<> runRefreshAfterSync();
    bool m_syncReached = false; // the last sync heard the server and settled

    // --- the keyring during a sign-in ---
    // Writing the token may bring up the desktop's unlock prompt, which can take as long as
    // the person takes: the sign-in window says what it waits for.
    Q_PROPERTY(bool waitingForKeyring READ waitingForKeyring NOTIFY waitingForKeyringChanged)

public:
    bool waitingForKeyring() const { return m_waitingForKeyring; }
Q_SIGNALS:
    void waitingForKeyringChanged();

private:
    void setWaitingForKeyring(bool value);
    bool m_waitingForKeyring = false;
};
