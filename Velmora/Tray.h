#pragma once

#include <QCoroTask>
#include <QIcon>
#include <QMenu>
#include <QObject>
#include <QPoint>
#include <QRect>
#include <QSize>
#include <QSystemTrayIcon>

#include <memory>

class MenuBarPanel;

namespace TrayPlacement {

// Where the panel's top-left corner goes. Next to the icon when its geometry is known (below
// it in the top half of the screen, above it in the bottom half); a D-Bus tray reports no
// geometry, so then at the cursor. Always kept inside `available`.
QPoint panelOrigin(const QRect& icon, const QPoint& cursor, const QSize& panel,
                   const QRect& available);

// Qt decides once per process whether a D-Bus tray exists, so at login the app waits for
// the tray host (bounded) before any tray call. True when a host is there.
QCoro::Task<bool> waitForStatusNotifierHost(int timeoutMs);

} // namespace TrayPlacement

// The tray item: its icon follows "something is due" / "all clear", a left click asks for
// the panel, and its right-click menu has "Open Velmora" and "Quit".
class Tray : public QObject {
    Q_OBJECT

public:
    explicit Tray(MenuBarPanel& panel, QObject* parent = nullptr);

    static bool isAvailable();
    void show();
    QSystemTrayIcon& icon() { return m_icon; }
    // Where the panel should open, worked out at the moment of the click.
    QPoint panelOrigin(const QSize& panelSize) const;

Q_SIGNALS:
    void panelRequested();
    void openRequested();
    void quitRequested();

private:
    void update();

    MenuBarPanel& m_panel;
    QSystemTrayIcon m_icon;
    std::unique_ptr<QMenu> m_menu;
    QIcon m_due;
    QIcon m_clear;
};
