#pragma once

class QWindow;

// The desktop's "no taskbar entry" hint for a window (_NET_WM_STATE_SKIP_TASKBAR and
// _SKIP_PAGER on X11). Window managers read it when the window maps, so it is set while the
// window is hidden. Elsewhere (Wayland, a build without xcb) nothing happens and the answer
// is false: the window type alone has to do.
namespace TaskbarHint {

bool apply(QWindow* window, bool skip);

} // namespace TaskbarHint
