#pragma once

// What the X11 hints share: replies freed as xcb wants, and atoms looked up by name.
#ifdef VELMORA_HAS_XCB
#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace XcbAtoms {

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};

inline xcb_atom_t atom(xcb_connection_t* connection, const char* name) {
    const auto cookie = xcb_intern_atom(connection, 0, uint16_t(std::strlen(name)), name);
    const std::unique_ptr<xcb_intern_atom_reply_t, FreeReply> reply(
        xcb_intern_atom_reply(connection, cookie, nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

} // namespace XcbAtoms
#endif
