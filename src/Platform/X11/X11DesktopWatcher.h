#pragma once

#include "Platform/NotificationCenter.h"
#include "Platform/X11/X11Connection.h"

namespace mosaro {

// Turns desktop changes into the notifications the overlay listens for: a change of the current
// virtual desktop is an active-space change, a change of the monitor layout a change of the
// display configuration.
class X11DesktopWatcher {
public:
    X11DesktopWatcher(X11Connection& connection, NotificationCenter& workspaceCenter,
                      NotificationCenter& defaultCenter);
    ~X11DesktopWatcher();
    X11DesktopWatcher(const X11DesktopWatcher&) = delete;
    X11DesktopWatcher& operator=(const X11DesktopWatcher&) = delete;

    // Called by whoever notices that the monitors changed.
    void displaysChanged();

private:
    bool handleEvent(xcb_generic_event_t* event);

    X11Connection& m_connection;
    NotificationCenter& m_workspace;
    NotificationCenter& m_default;
    X11Connection::ListenerId m_listener = 0;
    xcb_atom_t m_currentDesktop = XCB_ATOM_NONE;
    std::optional<std::uint32_t> m_desktop;
};

} // namespace mosaro
