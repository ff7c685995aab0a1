#pragma once

#include <QDBusConnection>
#include <QHash>
#include <QObject>
#include <QString>

// Desktop notifications by key: showing a key again replaces its notification in place.
class Notifications : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    // Whether anything can show a notification now (the desktop's permission).
    virtual bool available() const = 0;
    virtual void show(const QString& key, const QString& title, const QString& body) = 0;
    virtual void close(const QString& key) = 0;

Q_SIGNALS:
    // The notification of `key` was clicked; `activationToken` lets a Wayland compositor
    // hand focus over (empty elsewhere).
    void activated(const QString& key, const QString& activationToken);
};

// org.freedesktop.Notifications on a D-Bus connection. Every call is asynchronous, so a
// slow notification server never freezes the window.
class FreedesktopNotifications : public Notifications {
    Q_OBJECT

public:
    // `appName`, `iconName` and `desktopEntry` name the app in the desktop's list.
    FreedesktopNotifications(QDBusConnection bus, QString appName, QString iconName,
                             QString desktopEntry, QObject* parent = nullptr);

    bool available() const override;
    void show(const QString& key, const QString& title, const QString& body) override;
    void close(const QString& key) override;

private Q_SLOTS:
    void onActionInvoked(uint id, const QString& action);
    void onActivationToken(uint id, const QString& token);
    void onClosed(uint id, uint reason);

private:
    QDBusConnection m_bus;
    QString m_appName;
    QString m_iconName;
    QString m_desktopEntry;
    QHash<QString, uint> m_ids; // key -> the server's id of what it shows
    QHash<uint, QString> m_tokens;
};
