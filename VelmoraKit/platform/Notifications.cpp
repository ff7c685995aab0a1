#include "Notifications.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QPointer>
#include <QVariantMap>

namespace {

const QString service = QStringLiteral("org.freedesktop.Notifications");
const QString path = QStringLiteral("/org/freedesktop/Notifications");
const QString interface = QStringLiteral("org.freedesktop.Notifications");

} // namespace

FreedesktopNotifications::FreedesktopNotifications(QDBusConnection bus, QString appName,
                                                   QString iconName, QString desktopEntry,
                                                   QObject* parent)
    : Notifications(parent)
    , m_bus(std::move(bus))
    , m_appName(std::move(appName))
    , m_iconName(std::move(iconName))
    , m_desktopEntry(std::move(desktopEntry)) {
    m_bus.connect(service, path, interface, QStringLiteral("ActionInvoked"), this,
                  SLOT(onActionInvoked(uint, QString)));
    m_bus.connect(service, path, interface, QStringLiteral("ActivationToken"), this,
                  SLOT(onActivationToken(uint, QString)));
    m_bus.connect(service, path, interface, QStringLiteral("NotificationClosed"), this,
                  SLOT(onClosed(uint, uint)));
}

bool FreedesktopNotifications::available() const {
    const QDBusConnectionInterface* daemon = m_bus.interface();
    return m_bus.isConnected() && daemon && daemon->isServiceRegistered(service).value();
}

void FreedesktopNotifications::show(const QString& key, const QString& title, const QString& body) {
    QDBusMessage call =
        QDBusMessage::createMethodCall(service, path, interface, QStringLiteral("Notify"));
    const QVariantMap hints{{QStringLiteral("desktop-entry"), m_desktopEntry},
                            {QStringLiteral("urgency"), QVariant::fromValue(uchar(1))}};
    // "default" is the click on the notification itself.
    const QStringList actions{QStringLiteral("default"), QStringLiteral("Open Velmora")};
    call << m_appName << m_ids.value(key, 0) << m_iconName << title << body << actions << hints
         << qint32(-1);
    auto* watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, key](QDBusPendingCallWatcher* finished) {
                finished->deleteLater();
                const QDBusPendingReply<uint> reply = *finished;
                if (!reply.isError())
                    m_ids.insert(key, reply.value());
            });
}

void FreedesktopNotifications::close(const QString& key) {
    const uint id = m_ids.take(key);
    if (id == 0)
        return;
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, interface,
                                                       QStringLiteral("CloseNotification"));
    call << id;
    m_bus.asyncCall(call);
}

void FreedesktopNotifications::onActivationToken(uint id, const QString& token) {
    m_tokens.insert(id, token.left(1024));
}

void FreedesktopNotifications::onActionInvoked(uint id, const QString& action) {
    const QString token = m_tokens.take(id);
    if (action != u"default")
        return;
    for (auto it = m_ids.cbegin(); it != m_ids.cend(); ++it)
        if (it.value() == id)
            return Q_EMIT activated(it.key(), token);
}

void FreedesktopNotifications::onClosed(uint id, uint) {
    m_tokens.remove(id);
    for (auto it = m_ids.begin(); it != m_ids.end(); ++it)
        if (it.value() == id) {
            // Kept: the next show replaces nothing visible, and a fresh id comes back.
            m_ids.erase(it);
            return;
        }
}
