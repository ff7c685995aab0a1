// The Store's small state around the daily briefing: the newest one's stamp, the unread
// mark, and the watch that waits for a run to land.

#include "Store.h"

// One watch: a single-shot timer (Qt's timers run on the monotonic clock) and the count of
// polls. A child of its Store, so deleting it is the cancellation and a Store that goes
// away takes it along; each poll holds both weakly across its wait.
class BriefingWatch : public QObject {
public:
    BriefingWatch(Store& store, std::optional<QDateTime> newerThan,
                  std::chrono::milliseconds interval)
        : QObject(&store)
        , m_newerThan(std::move(newerThan)) {
        m_timer.setSingleShot(true);
        m_timer.setInterval(interval);
        QObject::connect(&m_timer, &QTimer::timeout, this, [this] { poll(); });
        m_timer.start();
    }

private:
    QCoro::Task<> poll() {
        QPointer<BriefingWatch> self(this);
        QPointer<Store> store(qobject_cast<Store*>(parent()));
        if (!store)
            co_return;
        ++m_polls;
        auto task = store->refreshLatestBriefing();
        co_await std::move(task);
        if (!self || !store)
            co_return;
        const auto& latest = store->latestBriefingAt();
        // Any other date counts, even an older one: no ordering of dates is trusted.
        if (latest && latest != m_newerThan) {
            store->setBriefingJustLanded(true);
            finish(*store);
        } else if (m_polls >= Store::briefingPolls) {
            finish(*store);
        } else {
            m_timer.start();
        }
    }
    void finish(Store& store) {
        if (store.m_briefingWatch == this)
            store.m_briefingWatch = nullptr;
        store.setBriefingRunning(false);
        deleteLater();
    }

    std::optional<QDateTime> m_newerThan;
    QTimer m_timer;
    int m_polls = 0;
};

void Store::setLatestBriefingAt(const std::optional<QDateTime>& at) {
    if (m_latestBriefingAt == at)
        return;
    m_latestBriefingAt = at;
    Q_EMIT latestBriefingAtChanged();
}

void Store::setBriefingUnread(bool value) {
    if (m_briefingUnread == value)
        return;
    m_briefingUnread = value;
    Q_EMIT briefingUnreadChanged();
}

void Store::setBriefingRunning(bool value) {
    if (m_briefingRunning == value)
        return;
    m_briefingRunning = value;
    Q_EMIT briefingRunningChanged();
}

void Store::setBriefingJustLanded(bool value) {
    if (m_briefingJustLanded == value)
        return;
    m_briefingJustLanded = value;
    Q_EMIT briefingJustLandedChanged();
}

QCoro::Task<> Store::refreshLatestBriefing() {
    if (!m_hasToken)
        co_return;
    QPointer<Store> self(this);
    try {
        auto task = m_client->briefingRead();
        const BriefingRead read = co_await std::move(task);
        if (!self)
            co_return;
        setLatestBriefingAt(read.briefing ? std::optional(read.briefing->createdAt) : std::nullopt);
        setBriefingUnread(read.unread);
    } catch (...) {
        // The mark and the stamp keep their values; a watch goes on.
    }
}

QCoro::Task<> Store::startBriefing() {
    QPointer<Store> self(this);
    auto task = m_client->runBriefing();
    co_await std::move(task);
    if (self)
        watchForBriefing(m_latestBriefingAt);
}

void Store::watchForBriefing(std::optional<QDateTime> newerThan) {
    delete m_briefingWatch.data();
    setBriefingRunning(true);
    m_briefingWatch = new BriefingWatch(*this, std::move(newerThan), m_briefingPollInterval);
}

void Store::stopWatchingForBriefing() {
    delete m_briefingWatch.data();
    m_briefingWatch = nullptr;
    setBriefingRunning(false);
}

void Store::clearBriefingLanded() {
    setBriefingJustLanded(false);
}

QCoro::Task<> Store::markBriefingSeen() {
    if (!m_briefingUnread)
        co_return;
    // Cleared first, so the dot stays away when the call fails.
    setBriefingUnread(false);
    try {
        auto task = m_client->markBriefingSeen();
        co_await std::move(task);
    } catch (...) {
    }
}
