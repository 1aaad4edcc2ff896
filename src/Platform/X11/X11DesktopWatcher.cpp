#include "Platform/X11/X11DesktopWatcher.h"

namespace mosaro {

X11DesktopWatcher::X11DesktopWatcher(X11Connection& connection, NotificationCenter& workspaceCenter,
                                     NotificationCenter& defaultCenter)
    : m_connection(connection), m_workspace(workspaceCenter), m_default(defaultCenter)
{
    if (!m_connection.isConnected())
        return;
    m_currentDesktop = m_connection.atom("_NET_CURRENT_DESKTOP");
    if (auto desktop = m_connection.cardinals(m_connection.root(), m_currentDesktop))
        m_desktop = desktop->front();
    // Root property changes also carry _NET_ACTIVE_WINDOW, which the overlay panel watches.
    auto attrs = m_connection.ask<xcb_get_window_attributes_reply>(xcb_get_window_attributes, m_connection.root());
    const std::uint32_t mask = (attrs ? attrs->your_event_mask : 0) | XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(m_connection.connection(), m_connection.root(), XCB_CW_EVENT_MASK, &mask);
    m_connection.flush();
    m_listener = m_connection.addEventListener([this](xcb_generic_event_t* e) { return handleEvent(e); });
}

X11DesktopWatcher::~X11DesktopWatcher()
{
    if (m_listener)
        m_connection.removeEventListener(m_listener);
}

void X11DesktopWatcher::displaysChanged()
{
    m_default.post(PlatformNotifications::screenParametersDidChange);
}

bool X11DesktopWatcher::handleEvent(xcb_generic_event_t* event)
{
    if ((event->response_type & 0x7f) != XCB_PROPERTY_NOTIFY)
        return false;
    auto* prop = reinterpret_cast<xcb_property_notify_event_t*>(event);
    if (prop->window != m_connection.root() || prop->atom != m_currentDesktop)
        return false;
    std::optional<std::uint32_t> desktop;
    if (auto value = m_connection.cardinals(m_connection.root(), m_currentDesktop))
        desktop = value->front();
    if (desktop != m_desktop) {
        m_desktop = desktop;
        m_workspace.post(PlatformNotifications::activeSpaceDidChange);
    }
    return false;
}

} // namespace mosaro
