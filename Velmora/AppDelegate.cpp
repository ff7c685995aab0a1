#include "AppDelegate.h"

#include "Choices.h"
#include "GeneralSettings.h"
#include "ListQueries.h"

#include <QCoreApplication>
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
    // The daily reminder is not scheduled by this build; the pass still runs through here so
    // that a reminder lands without touching the loop.
    co_return;
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

void AppDelegate::quit() {
    QCoreApplication::quit();
}

QVariantList AppDelegate::sectionChoices() const {
    QVariantList choices{QVariantMap{{QStringLiteral("value"), QString()},
                                     {QStringLiteral("label"), QStringLiteral("All sections")}}};
    return choices + wireChoices<Section>();
}

QVariantList AppDelegate::sortChoices() const {
    return wireChoices<SortField>();
}

QVariantList AppDelegate::channelChoices() const {
    return wireChoices<Channel>();
}
