#include "TaskbarHint.h"

#include <QGuiApplication>
#include <QList>
#include <QWindow>

#ifdef VELMORA_HAS_XCB
#include "XcbAtoms.h"
#endif

namespace TaskbarHint {

#ifdef VELMORA_HAS_XCB
using XcbAtoms::atom;
using XcbAtoms::FreeReply;
#endif

bool apply(QWindow* window, bool skip) {
#ifdef VELMORA_HAS_XCB
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (!window || !x11 || !x11->connection())
        return false;
    xcb_connection_t* connection = x11->connection();
    const auto id = xcb_window_t(window->winId());
    const xcb_atom_t state = atom(connection, "_NET_WM_STATE");
    const QList<xcb_atom_t> hints{atom(connection, "_NET_WM_STATE_SKIP_TASKBAR"),
                                  atom(connection, "_NET_WM_STATE_SKIP_PAGER")};
    if (state == XCB_ATOM_NONE || hints.contains(xcb_atom_t(XCB_ATOM_NONE)))
        return false;
    // The other states the window carries stay as they are.
    QList<xcb_atom_t> atoms;
    const auto cookie = xcb_get_property(connection, 0, id, state, XCB_ATOM_ATOM, 0, 64);
    const std::unique_ptr<xcb_get_property_reply_t, FreeReply> reply(
        xcb_get_property_reply(connection, cookie, nullptr));
    if (reply && reply->format == 32 && reply->type == XCB_ATOM_ATOM) {
        const auto* data = static_cast<const xcb_atom_t*>(xcb_get_property_value(reply.get()));
        const int count = xcb_get_property_value_length(reply.get()) / int(sizeof(xcb_atom_t));
        for (int i = 0; i < count; ++i)
            if (!hints.contains(data[i]))
                atoms.append(data[i]);
    }
    if (skip)
        atoms.append(hints);
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, id, state, XCB_ATOM_ATOM, 32,
                        uint32_t(atoms.size()), atoms.constData());
    xcb_flush(connection);
    return true;
#else
    Q_UNUSED(window)
    Q_UNUSED(skip)
    return false;
#endif
}

} // namespace TaskbarHint
