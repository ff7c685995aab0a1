#include "StartupNotice.h"

#include "SingleInstance.h"

#include <QGuiApplication>
#include <QString>
#include <QWindow>

#ifdef VELMORA_HAS_XCB
#include "XcbAtoms.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#endif

namespace StartupNotice {

#ifdef VELMORA_HAS_XCB
namespace {

using XcbAtoms::atom;
using XcbAtoms::FreeReply;

// A startup-notification message goes to the root window in 20-byte pieces, the first
// typed _NET_STARTUP_INFO_BEGIN, with its closing NUL.
void sendMessage(xcb_connection_t* connection, xcb_window_t root, xcb_window_t from,
                 const QByteArray& text) {
    const QByteArray message = text + '\0';
    const xcb_atom_t begin = atom(connection, "_NET_STARTUP_INFO_BEGIN");
    const xcb_atom_t more = atom(connection, "_NET_STARTUP_INFO");
    for (qsizetype at = 0; at < message.size(); at += 20) {
        xcb_client_message_event_t event;
        std::memset(&event, 0, sizeof event);
        event.response_type = XCB_CLIENT_MESSAGE;
        event.format = 8;
        event.window = from;
        event.type = at == 0 ? begin : more;
        std::memcpy(event.data.data8, message.constData() + at,
                    size_t(std::min<qsizetype>(20, message.size() - at)));
        xcb_send_event(connection, 0, root, XCB_EVENT_MASK_PROPERTY_CHANGE,
                       reinterpret_cast<const char*>(&event));
    }
}

} // namespace
#endif

bool finish(QWindow* window, const QString& startupId) {
#ifdef VELMORA_HAS_XCB
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (!window || !x11 || !x11->connection() || startupId.isEmpty())
        return false;
    xcb_connection_t* connection = x11->connection();
    const auto id = xcb_window_t(window->winId());
    const std::unique_ptr<xcb_get_geometry_reply_t, FreeReply> geometry(
        xcb_get_geometry_reply(connection, xcb_get_geometry(connection, id), nullptr));
    if (!geometry)
        return false;
    const QByteArray utf8 = startupId.toUtf8();
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, id, atom(connection, "_NET_STARTUP_ID"),
                        atom(connection, "UTF8_STRING"), 8, uint32_t(utf8.size()),
                        utf8.constData());
    // Qt's own request carries the time of this process's last input, older than the
    // launch: the launch's time is what lets the window manager front the window.
    if (const auto time = Handover::startupTime(startupId)) {
        xcb_client_message_event_t event;
        std::memset(&event, 0, sizeof event);
        event.response_type = XCB_CLIENT_MESSAGE;
        event.format = 32;
        event.window = id;
        event.type = atom(connection, "_NET_ACTIVE_WINDOW");
        event.data.data32[0] = 1; // from an application
        event.data.data32[1] = *time;
        event.data.data32[2] = XCB_NONE;
        xcb_send_event(connection, 0, geometry->root,
                       XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                       reinterpret_cast<const char*>(&event));
    }
    QByteArray quoted = utf8;
    quoted.replace('\\', "\\\\").replace('"', "\\\"");
    sendMessage(connection, geometry->root, id, "remove: ID=\"" + quoted + '"');
    xcb_flush(connection);
    return true;
#else
    Q_UNUSED(window)
    Q_UNUSED(startupId)
    return false;
#endif
}

} // namespace StartupNotice
