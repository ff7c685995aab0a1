#pragma once

#include "Store.h"

#include <QCoroTask>
#include <QObject>
#include <QPointer>
#include <QVariantList>

#include <optional>

// The AI tab of the settings: the account's daily hour, its zone and the briefing switch,
// read once and written back change by change. Nothing is sent until the load has ended,
// so filling in the fields never writes them back; a failure keeps what the user chose.
class ScheduleSettingsModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(Store* store READ store WRITE setStore NOTIFY storeChanged)
    Q_PROPERTY(bool on READ on WRITE setOn NOTIFY stateChanged)
    // -1: no daily schedule.
    Q_PROPERTY(int hour READ hourValue WRITE setHourValue NOTIFY stateChanged)
    Q_PROPERTY(QString timezone READ timezoneText NOTIFY stateChanged)
    Q_PROPERTY(QString zoneLabel READ zoneLabel NOTIFY stateChanged)
    Q_PROPERTY(bool loaded READ loaded NOTIFY stateChanged)
    Q_PROPERTY(bool failed READ failed NOTIFY stateChanged)
    Q_PROPERTY(bool pickingZone READ pickingZone WRITE setPickingZone NOTIFY stateChanged)
    Q_PROPERTY(QString briefingNote READ briefingNote NOTIFY stateChanged)
    Q_PROPERTY(QString zoneQuery READ zoneQuery WRITE setZoneQuery NOTIFY zonesChanged)
    Q_PROPERTY(QStringList zones READ zones NOTIFY zonesChanged)
    Q_PROPERTY(QVariantList hourChoices READ hourChoices CONSTANT)

public:
    static inline const QString failureText =
        QStringLiteral("Couldn't reach the server. Your schedule is unchanged.");

    explicit ScheduleSettingsModel(QObject* parent = nullptr);
    // Makes ScheduleSettingsModel and AccountSettingsModel known as Velmora.Settings 1.0.
    static void registerType();

    Store* store() const { return m_store; }
    void setStore(Store* store);
    bool on() const { return m_on; }
    void setOn(bool on);
    const std::optional<int>& hour() const { return m_hour; }
    int hourValue() const { return m_hour.value_or(-1); }
    void setHour(std::optional<int> hour);
    void setHourValue(int hour) { setHour(hour < 0 ? std::nullopt : std::optional(hour)); }
    const std::optional<QString>& timezone() const { return m_timezone; }
    QString timezoneText() const { return m_timezone.value_or(QString()); }
    QString zoneLabel() const;
    bool loaded() const { return m_loaded; }
    bool failed() const { return m_failed; }
    bool pickingZone() const { return m_pickingZone; }
    void setPickingZone(bool picking);
    QString briefingNote() const;
    const QString& zoneQuery() const { return m_zoneQuery; }
    void setZoneQuery(const QString& query);
    QStringList zones() const;
    // [{value, label}]: "No daily schedule" (-1), then the 24 hours.
    QVariantList hourChoices() const;

    Q_INVOKABLE void load();
    Q_INVOKABLE void pickZone(const QString& identifier);

    QCoro::Task<> runLoad();
    // Resolves when the last change's call has ended (tests wait on it).
    QCoro::Task<> push();
    QCoro::Task<> sendZone(QString identifier);

Q_SIGNALS:
    void storeChanged();
    void stateChanged();
    void zonesChanged();
    // A change's call has ended, whatever its outcome.
    void saved();

private:
    void setFailed(bool failed);

    QPointer<Store> m_store;
    bool m_on = false;
    std::optional<int> m_hour;
    std::optional<QString> m_timezone;
    bool m_loaded = false;
    bool m_loading = false;
    bool m_failed = false;
    bool m_pickingZone = false;
    QString m_zoneQuery;
};

// The Account tab: who is connected, how fresh the list is, and "Disconnect…".
class AccountSettingsModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(Store* store READ store WRITE setStore NOTIFY storeChanged)
    Q_PROPERTY(bool connected READ connected NOTIFY changed)
    Q_PROPERTY(QString name READ name NOTIFY changed)
    Q_PROPERTY(QString email READ email NOTIFY changed)
    Q_PROPERTY(QString lastRefreshed READ lastRefreshed NOTIFY changed)
    Q_PROPERTY(int items READ items NOTIFY changed)

public:
    explicit AccountSettingsModel(QObject* parent = nullptr);

    Store* store() const { return m_store; }
    void setStore(Store* store);
    bool connected() const { return m_store && m_store->hasToken(); }
    QString name() const;
    QString email() const;
    // The last refresh in the short time form, or "Never".
    QString lastRefreshed() const;
    int items() const { return m_store ? int(m_store->document().items.size()) : 0; }

    Q_INVOKABLE void disconnectDevice();

Q_SIGNALS:
    void storeChanged();
    void changed();

private:
    QPointer<Store> m_store;
    QList<QMetaObject::Connection> m_connections;
};
