#pragma once

class QString;
class QWindow;

// A later launch's X11 startup notification, finished by the running app's window: the
// window takes the launch's id (_NET_STARTUP_ID), asks to be activated with the launch's own
// time, and the launch's busy feedback ends ("remove"). Whether the window comes to the
// front is still the window manager's call: one that prevents focus stealing compares that
// time with the user's last input elsewhere and may only mark the window as wanting
// attention. Elsewhere (Wayland, a build without xcb) nothing happens and the answer is false.
namespace StartupNotice {

bool finish(QWindow* window, const QString& startupId);

} // namespace StartupNotice
