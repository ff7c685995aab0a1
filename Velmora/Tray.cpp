#include "Tray.h"

#include "MenuBarPanel.h"

#include <QCursor>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusServiceWatcher>
#include <QGuiApplication>
#include <QPointer>
#include <QScreen>

#include <QCoroSignal>

#include <chrono>

namespace TrayPlacement {

QPoint panelOrigin(const QRect& icon, const QPoint& cursor, const QSize& panel,
                   const QRect& available) {
    QPoint origin;
    if (icon.isValid() && !icon.isEmpty()) {
        const bool topHalf = icon.center().y() < available.center().y();
        origin = QPoint(icon.center().x() - panel.width() / 2,
                        topHalf ? icon.bottom() + 1 : icon.top() - panel.height());
    } else {
        const bool topHalf = cursor.y() < available.center().y();
        origin = QPoint(cursor.x() - panel.width() / 2,
                        topHalf ? cursor.y() + 4 : cursor.y() - 4 - panel.height());
    }
    if (!available.isValid())
        return origin;
    const int maxX = available.right() + 1 - panel.width();
    const int maxY = available.bottom() + 1 - panel.height();
    origin.setX(qMax(available.left(), qMin(origin.x(), maxX)));
    origin.setY(qMax(available.top(), qMin(origin.y(), maxY)));
    return origin;
}

QCoro::Task<bool> waitForStatusNotifierHost(int timeoutMs) {
    const QString watcherName = QStringLiteral("org.kde.StatusNotifierWatcher");
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || !bus.interface())
        co_return false;
    auto* watcher =
        new QDBusServiceWatcher(watcherName, bus, QDBusServiceWatcher::WatchForRegistration);
    QPointer<QDBusServiceWatcher> guard(watcher);
    // Armed before the check, so a host that registers in between is not missed.
    if (bus.interface()->isServiceRegistered(watcherName)) {
        watcher->deleteLater();
        co_return true;
    }
    const auto registered = co_await qCoro(watcher, &QDBusServiceWatcher::serviceRegistered,
                                           std::chrono::milliseconds(timeoutMs));
    if (guard)
        guard->deleteLater();
    co_return registered.has_value();
}

} // namespace TrayPlacement

Tray::Tray(MenuBarPanel& panel, QObject* parent)
    : QObject(parent)
    , m_panel(panel)
    , m_icon(this)
    , m_menu(std::make_unique<QMenu>())
    , m_due(QStringLiteral(":/velmora/icons/tray-due.svg"))
    , m_clear(QStringLiteral(":/velmora/icons/tray-clear.svg")) {
    m_menu->addAction(QStringLiteral("Open Velmora"), this, &Tray::openRequested);
    m_menu->addSeparator();
    m_menu->addAction(QStringLiteral("Quit"), this, &Tray::quitRequested);
    m_icon.setContextMenu(m_menu.get());
    connect(&m_icon, &QSystemTrayIcon::activated, this, [this](auto reason) {
        if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick)
            Q_EMIT panelRequested();
    });
    connect(&m_panel, &MenuBarPanel::dueCountChanged, this, &Tray::update);
    connect(&m_panel, &MenuBarPanel::toolTipChanged, this, &Tray::update);
    update();
}

bool Tray::isAvailable() {
    return QSystemTrayIcon::isSystemTrayAvailable();
}

void Tray::show() {
    m_icon.show();
}

QPoint Tray::panelOrigin(const QSize& panelSize) const {
    const QPoint cursor = QCursor::pos();
    const QRect icon = m_icon.geometry();
    QScreen* screen = QGuiApplication::screenAt(icon.isValid() ? icon.center() : cursor);
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    return TrayPlacement::panelOrigin(icon, cursor, panelSize,
                                      screen ? screen->availableGeometry() : QRect());
}

void Tray::update() {
    m_icon.setIcon(m_panel.dueCount() > 0 ? m_due : m_clear);
    m_icon.setToolTip(m_panel.toolTip());
}
