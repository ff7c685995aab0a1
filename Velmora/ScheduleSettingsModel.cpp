#include "ScheduleSettingsModel.h"

#include "Schedule.h"

#include <QLocale>
#include <QQmlEngine>

ScheduleSettingsModel::ScheduleSettingsModel(QObject* parent)
    : QObject(parent) {}

void ScheduleSettingsModel::registerType() {
    static const int ids[] = {
        qmlRegisterType<ScheduleSettingsModel>("Velmora.Settings", 1, 0, "ScheduleSettingsModel"),
        qmlRegisterType<AccountSettingsModel>("Velmora.Settings", 1, 0, "AccountSettingsModel")};
    Q_UNUSED(ids)
}

void ScheduleSettingsModel::setStore(Store* store) {
    if (m_store == store)
        return;
    if (m_store)
        QObject::disconnect(m_store, nullptr, this, nullptr);
    m_store = store;
    // Another account's settings are read afresh: back to the empty defaults.
    if (store)
        connect(store, &Store::hasTokenChanged, this, [this] {
            m_on = false;
            m_hour.reset();
            m_timezone.reset();
            m_loaded = m_failed = m_pickingZone = false;
            Q_EMIT stateChanged();
        });
    Q_EMIT storeChanged();
}

void ScheduleSettingsModel::setOn(bool on) {
    if (m_on == on)
        return;
    m_on = on;
    Q_EMIT stateChanged();
    push();
}

void ScheduleSettingsModel::setHour(std::optional<int> hour) {
    if (hour && (*hour < 0 || *hour > 23))
        return;
    if (m_hour == hour)
        return;
    m_hour = hour;
    Q_EMIT stateChanged();
    push();
}

QString ScheduleSettingsModel::zoneLabel() const {
    return m_timezone ? TimeZoneCatalog::displayName(*m_timezone) : QStringLiteral("Not set yet");
}

void ScheduleSettingsModel::setPickingZone(bool picking) {
    if (m_pickingZone == picking)
        return;
    m_pickingZone = picking;
    Q_EMIT stateChanged();
}

QString ScheduleSettingsModel::briefingNote() const {
    if (!m_hour)
        return QStringLiteral(
            "Choose a time above first — with no schedule there is nothing to run it at.");
    return QStringLiteral("A read of your open list once a day, telling you what's critical, who "
                          "to chase and what to drop. It spends one AI credit, and it is waiting "
                          "in the AI pane — Ctrl+Shift+A — when you next look.");
}

void ScheduleSettingsModel::setZoneQuery(const QString& query) {
    if (m_zoneQuery == query)
        return;
    m_zoneQuery = query;
    Q_EMIT zonesChanged();
}

QStringList ScheduleSettingsModel::zones() const {
    return TimeZoneCatalog::matching(m_zoneQuery);
}

QVariantList ScheduleSettingsModel::hourChoices() const {
    QVariantList choices{
        QVariantMap{{QStringLiteral("value"), -1},
                    {QStringLiteral("label"), QStringLiteral("No daily schedule")}}};
    for (int hour = 0; hour < 24; ++hour)
        choices << QVariantMap{{QStringLiteral("value"), hour},
                               {QStringLiteral("label"), ScheduleFormat::hourLabel(hour)}};
    return choices;
}

void ScheduleSettingsModel::setFailed(bool failed) {
    if (m_failed == failed)
        return;
    m_failed = failed;
    Q_EMIT stateChanged();
}

void ScheduleSettingsModel::load() {
    runLoad();
}

QCoro::Task<> ScheduleSettingsModel::runLoad() {
    if (m_loaded || m_loading || !m_store)
        co_return;
    QPointer<ScheduleSettingsModel> self(this);
    m_loading = true;
    const auto client = m_store->freshClient();
    std::optional<AISettings> settings;
    try {
        auto task = client->aiSettings();
        settings = co_await std::move(task);
    } catch (...) {
    }
    if (!self)
        co_return;
    m_loading = false;
    if (settings) {
        m_on = settings->briefingEnabled;
        m_hour = settings->scheduleHour;
        m_timezone = settings->timezone;
    }
    m_failed = !settings;
    // Loaded even after a failure: a change made now is the user's and is sent.
    m_loaded = true;
    Q_EMIT stateChanged();
}

QCoro::Task<> ScheduleSettingsModel::push() {
    if (!m_loaded || !m_store)
        co_return;
    QPointer<ScheduleSettingsModel> self(this);
    const auto client = m_store->freshClient();
    bool ok = true;
    try {
        auto task = client->setAISettings(std::optional(m_hour), m_on);
        co_await std::move(task);
    } catch (...) {
        ok = false;
    }
    if (!self)
        co_return;
    setFailed(!ok);
    Q_EMIT saved();
}

void ScheduleSettingsModel::pickZone(const QString& identifier) {
    // Only catalogue identifiers: the body is written with the name as it stands.
    if (!TimeZoneCatalog::identifiers().contains(identifier))
        return;
    setPickingZone(false);
    if (m_timezone != identifier) {
        m_timezone = identifier;
        Q_EMIT stateChanged();
    }
    sendZone(identifier);
}

QCoro::Task<> ScheduleSettingsModel::sendZone(QString identifier) {
    if (!m_store)
        co_return;
    QPointer<ScheduleSettingsModel> self(this);
    const auto client = m_store->freshClient();
    bool ok = true;
    try {
        auto task = client->setAISettings(std::nullopt, std::nullopt, std::move(identifier));
        co_await std::move(task);
    } catch (...) {
        ok = false;
    }
    if (!self)
        co_return;
    setFailed(!ok);
    Q_EMIT saved();
}

AccountSettingsModel::AccountSettingsModel(QObject* parent)
    : QObject(parent) {}

void AccountSettingsModel::setStore(Store* store) {
    if (m_store == store)
        return;
    for (const auto& connection : m_connections)
        QObject::disconnect(connection);
    m_connections.clear();
    m_store = store;
    if (store)
        for (auto signal : {&Store::hasTokenChanged, &Store::usageChanged,
                            &Store::lastRefreshChanged, &Store::documentChanged})
            m_connections << connect(store, signal, this, &AccountSettingsModel::changed);
    Q_EMIT storeChanged();
    Q_EMIT changed();
}

QString AccountSettingsModel::name() const {
    return m_store && m_store->usage() ? m_store->usage()->name.value_or(QString()) : QString();
}

QString AccountSettingsModel::email() const {
    return m_store && m_store->usage() ? m_store->usage()->email.value_or(QString()) : QString();
}

QString AccountSettingsModel::lastRefreshed() const {
    if (!m_store || !m_store->lastRefresh().isValid())
        return QStringLiteral("Never");
    return ScheduleFormat::shortTime(m_store->lastRefresh().toLocalTime().time());
}

void AccountSettingsModel::disconnectDevice() {
    if (m_store)
        m_store->disconnect();
}
