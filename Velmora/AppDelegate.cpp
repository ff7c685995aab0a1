#include "AppDelegate.h"

#include "Choices.h"
#include "GeneralSettings.h"
#include "ListQueries.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QKeySequence>
#include <QPointer>
#include <QTimeZone>

AppDelegate::AppDelegate(Store& store, Preferences& prefs, QObject* parent)
    : QObject(parent)
    , m_store(store)
    , m_prefs(prefs)
    , m_router(this)
    , m_hideDone(hideDone()) {
    // The watch loop's three triggers. A change while no pass is armed is not lost: the
    // next refresh changes lastRefresh again.
    for (auto signal :
         {&Store::pendingConflictChanged, &Store::documentChanged, &Store::lastRefreshChanged}) {
        connect(&m_store, signal, this, [this] {
            if (!m_watchArmed)
                return;
            m_watchArmed = false;
            watchPass();
        });
    }
    // The reminder follows the settings at once rather than at the next refresh.
    for (auto signal : {&Preferences::dailyReminderChanged, &Preferences::reminderHourChanged})
        connect(&m_prefs, signal, this, [this] { syncNotifications(); });
    // The welcome belongs to the account: a new token asks afresh.
    connect(&m_store, &Store::hasTokenChanged, this, [this] {
        m_urgentSeen.reset();
        m_store.forgetWelcome();
        if (m_store.hasToken())
            m_store.refreshWelcome();
    });
    connect(&m_store, &Store::documentChanged, this, [this] {
        if (hideDone() == m_hideDone)
            return;
        m_hideDone = hideDone();
        Q_EMIT hideDoneChanged();
    });
}

QString AppDelegate::versionLabel() const {
    return GeneralSettings::versionLabel();
}

QString AppDelegate::hourLabel(int hour) const {
    return GeneralSettings::hourLabel(hour);
}

QString AppDelegate::webURL() const {
    return APIClient::defaultBaseURL().toString();
}

void AppDelegate::setOpenMainWindow(std::function<void()> open) {
    m_openMainWindow = std::move(open);
}

void AppDelegate::launch() {
    if (m_store.hasToken())
        m_store.refreshWelcome();
    announceUrgentItems(); // the restored copy is what was known before
    launchTasks();
    watchStore();
}

QCoro::Task<> AppDelegate::launchTasks() {
    QPointer<AppDelegate> self(this);
    auto synced = m_store.sync();
    co_await std::move(synced);
    if (!self)
        co_return;
    auto refreshed = m_store.refreshAfterSync();
    co_await std::move(refreshed);
    if (!self)
        co_return;
    m_store.startAutoRefresh(300);
    m_store.startConnectivityMonitor();
    auto notified = syncNotifications();
    co_await std::move(notified);
    if (!self)
        co_return;
    if (m_store.hasToken()) {
        // A client of its own, so the Store's calls never wait behind the seed.
        auto* client =
            new APIClient(APIClient::defaultBaseURL(), m_store.client().token(), nullptr, this);
        auto seeded = client->seedTimeZone(QString::fromUtf8(QTimeZone::systemTimeZoneId()));
        co_await std::move(seeded);
        if (!self)
            co_return;
        client->deleteLater();
    }
    Q_EMIT launched();
}

void AppDelegate::watchStore() {
    m_watchArmed = true;
}

QCoro::Task<> AppDelegate::watchPass() {
    QPointer<AppDelegate> self(this);
    surfaceConflictIfNeeded();
    announceUrgentItems();
    auto notified = syncNotifications();
    co_await std::move(notified);
    if (!self)
        co_return;
    watchStore();
    Q_EMIT passFinished();
}

void AppDelegate::surfaceConflictIfNeeded() {
    if (!m_store.hasPendingConflict()) {
        m_conflictSurfaced = false;
        return;
    }
    if (m_conflictSurfaced)
        return;
    m_conflictSurfaced = true;
    m_openMainWindow();
}

QCoro::Task<> AppDelegate::syncNotifications() {
    // The reminder counts when it fires, so a pass only switches it and moves its hour.
    if (!m_reminder)
        co_return;
    if (m_prefs.dailyReminder())
        m_reminder->arm(m_prefs.reminderHour());
    else
        m_reminder->disarm();
    co_return;
}

void AppDelegate::setNotifications(Notifications* notifications, DailyReminder::Clock clock) {
    m_reminder.reset();
    if (!notifications)
        return;
    const auto counts = [this](const QDateTime& now) {
        return std::pair{m_store.dueCount(now), m_store.overdueCount(now)};
    };
    m_reminder = std::make_unique<DailyReminder>(*notifications, counts, std::move(clock));
    m_notifications = notifications;
    connect(notifications, &Notifications::activated, this,
            [this](const QString& key, const QString& token) {
                // A Wayland compositor gives focus only with the token it handed out.
                if (!token.isEmpty())
                    qputenv("XDG_ACTIVATION_TOKEN", token.toUtf8());
                m_openMainWindow();
                if (key.startsWith(Reminder::urgentPrefix))
                    m_store.setSelection(key.mid(Reminder::urgentPrefix.size()));
            });
    QDBusConnection::systemBus().connect(
        QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
        QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("PrepareForSleep"), this,
        SLOT(sleepChanged(bool)));
}

void AppDelegate::announceUrgentItems() {
    const auto& wire = m_store.syncedWire();
    if (!wire || m_store.syncedVersion() == m_urgentVersion)
        return;
    m_urgentVersion = m_store.syncedVersion();
    const QMap<QString, QString> urgent = Reminder::urgentAgentItems(*wire);
    const bool first = !m_urgentSeen;
    if (first)
        m_urgentSeen.emplace();
    for (auto it = urgent.cbegin(); it != urgent.cend(); ++it) {
        if (m_urgentSeen->contains(it.key()))
            continue;
        m_urgentSeen->insert(it.key());
        if (!first && m_prefs.urgentAgentAlerts() && m_notifications &&
            m_notifications->available())
            m_notifications->show(Reminder::urgentPrefix + it.key(), it.value(),
                                  QStringLiteral("An agent added this as urgent."));
    }
}

void AppDelegate::sleepChanged(bool sleeping) {
    if (!sleeping && m_reminder)
        m_reminder->wake();
}

void AppDelegate::openMainWindow() {
    m_openMainWindow();
}

void AppDelegate::open(std::optional<PaneScreen> screen) {
    m_openMainWindow();
    m_router.setScreen(screen);
}

void AppDelegate::openAI() {
    open(PaneScreen::ai);
    Q_EMIT aiRequested();
}

void AppDelegate::openRules() {
    open(PaneScreen::rules);
}

void AppDelegate::openConnections() {
    open(PaneScreen::connections);
}

void AppDelegate::openSettings() {
    Q_EMIT settingsRequested();
}

void AppDelegate::refresh() {
    m_store.refresh(false);
}

void AppDelegate::setHideDone(bool value) {
    m_store.setHideDone(value);
}

void AppDelegate::clearFilters() {
    m_store.clearFilters();
}

void AppDelegate::toggle(const QString& id) {
    if (const auto item = m_store.item(id))
        m_store.toggle(*item);
}

void AppDelegate::dismissWelcome() {
    m_store.dismissWelcome();
}

void AppDelegate::quit() {
    QCoreApplication::quit();
}

QVariantList AppDelegate::sectionChoices() const {
    QVariantList choices{QVariantMap{{QStringLiteral("value"), QString()},
                                     {QStringLiteral("label"), QStringLiteral("All sections")}}};
    return choices + wireChoices<Section>();
}

QString AppDelegate::shortcutText(const QVariant& shortcut) {
    if (shortcut.typeId() == QMetaType::Int) {
        const auto bindings =
            QKeySequence::keyBindings(QKeySequence::StandardKey(shortcut.toInt()));
        return bindings.isEmpty() ? QString() : bindings.first().toString(QKeySequence::NativeText);
    }
    return QKeySequence(shortcut.toString()).toString(QKeySequence::NativeText);
}

QVariantList AppDelegate::sortChoices() const {
    return wireChoices<SortField>();
}

QVariantList AppDelegate::channelChoices() const {
    return wireChoices<Channel>();
}
