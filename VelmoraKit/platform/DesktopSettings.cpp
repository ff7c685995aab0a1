#include "DesktopSettings.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QGuiApplication>
#include <QPalette>

namespace {

const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString portalInterface = QStringLiteral("org.freedesktop.portal.Settings");
const QString appearanceGroup = QStringLiteral("org.freedesktop.appearance");
const QString gnomeGroup = QStringLiteral("org.gnome.desktop.interface");
const QString kdeGroup = QStringLiteral("org.kde.kdeglobals.KDE");

bool paletteIsDark() {
    const auto* app = qobject_cast<QGuiApplication*>(QCoreApplication::instance());
    return app && QGuiApplication::palette().color(QPalette::Window).lightness() < 128;
}

// Read answers a variant inside a variant; unwrap whatever depth arrives.
QVariant unwrap(QVariant value) {
    while (value.canConvert<QDBusVariant>() && value.userType() == qMetaTypeId<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value;
}

} // namespace

DesktopSettings::DesktopSettings(QObject* parent)
    : QObject(parent)
    , m_prefersDark(paletteIsDark()) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    bus.connect(portalService, portalPath, portalInterface, QStringLiteral("SettingChanged"), this,
                SLOT(settingChanged(QString, QString, QDBusVariant)));
    read(appearanceGroup, QStringLiteral("color-scheme"));
    read(gnomeGroup, QStringLiteral("enable-animations"));
    read(kdeGroup, QStringLiteral("AnimationDurationFactor"));
}

bool DesktopSettings::darkFromScheme(uint colorScheme, bool paletteDark) {
    switch (colorScheme) {
    case 1:
        return true;
    case 2:
        return false;
    default:
        return paletteDark;
    }
}

void DesktopSettings::read(const QString& group, const QString& key) {
    // Asynchronous, so a slow or missing portal never holds up the first frame.
    QDBusMessage call = QDBusMessage::createMethodCall(portalService, portalPath, portalInterface,
                                                       QStringLiteral("Read"));
    call << group << key;
    auto* watcher =
        new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call, 2000), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, group, key](QDBusPendingCallWatcher* finished) {
                finished->deleteLater();
                const QDBusPendingReply<QVariant> reply = *finished;
                if (!reply.isError())
                    apply(group, key, unwrap(reply.value()));
            });
}

void DesktopSettings::settingChanged(const QString& group, const QString& key,
                                     const QDBusVariant& value) {
    apply(group, key, unwrap(value.variant()));
}

void DesktopSettings::apply(const QString& group, const QString& key, const QVariant& value) {
    if (group == appearanceGroup && key == u"color-scheme")
        setPrefersDark(darkFromScheme(value.toUInt(), paletteIsDark()));
    else if (group == gnomeGroup && key == u"enable-animations")
        setReduceMotion(!value.toBool());
    else if (group == kdeGroup && key == u"AnimationDurationFactor")
        setReduceMotion(value.toDouble() == 0.0);
}

void DesktopSettings::setPrefersDark(bool value) {
    if (value == m_prefersDark)
        return;
    m_prefersDark = value;
    Q_EMIT prefersDarkChanged();
}

void DesktopSettings::setReduceMotion(bool value) {
    if (value == m_reduceMotion)
        return;
    m_reduceMotion = value;
    Q_EMIT reduceMotionChanged();
}
