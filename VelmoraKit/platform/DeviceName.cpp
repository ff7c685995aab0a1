#include "DeviceName.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QPointer>
#include <QSysInfo>

namespace DeviceName {

QString choose(const QString& prettyName, const QString& hostName) {
    if (!prettyName.trimmed().isEmpty())
        return prettyName.trimmed();
    if (!hostName.trimmed().isEmpty())
        return hostName.trimmed();
    return QStringLiteral("computer");
}

void fetch(QObject* context, std::function<void(QString)> done) {
    const QString hostName = QSysInfo::machineHostName();
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected()) {
        done(choose({}, hostName));
        return;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.hostname1"), QStringLiteral("/org/freedesktop/hostname1"),
        QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    call << QStringLiteral("org.freedesktop.hostname1") << QStringLiteral("PrettyHostname");
    // Asynchronous and short: a missing hostnamed must not hold the sign-in up.
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, 2000), context);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, context,
                     [watcher, hostName, done = std::move(done)] {
                         watcher->deleteLater();
                         const QDBusPendingReply<QDBusVariant> reply = *watcher;
                         const QString pretty = reply.isError()
                                                    ? QString()
                                                    : reply.value().variant().toString().left(200);
                         done(choose(pretty, hostName));
                     });
}

} // namespace DeviceName
