#include "Platform/X11/X11PanelHost.h"

#include "Diagnostics/Log/Log.h"
#include "Platform/X11/X11PanelWindows.h"

#include <string>

namespace mosaro {

namespace {
constexpr const char* modeMessage = "overlay drawn %{public}s: compositing manager %{public}s";
} // namespace

X11PanelHost::X11PanelHost(X11Connection& connection, const X11ScreenList& screens, X11HotKeyService* hotKeys)
    : m_connection(connection), m_screens(screens), m_keyboard(connection, hotKeys), m_translucent(connection),
      m_outline(connection)
{}

void X11PanelHost::anticipateSurface()
{
    if (!m_connection.isConnected())
        return;
    // The manager's answer is for this showing only; an older question goes unanswered.
    m_manager = {};
    const std::string name = "_NET_WM_CM_S" + std::to_string(m_connection.screenNumber());
    if (const xcb_atom_t selection = m_connection.atom(name); selection != XCB_ATOM_NONE)
        m_manager = m_connection.ask<xcb_get_selection_owner_reply>(xcb_get_selection_owner, selection);
    m_connection.flush();
}

xcb_window_t X11PanelHost::compositingManager()
{
    if (!m_manager.wasSent()) {
        const std::string name = "_NET_WM_CM_S" + std::to_string(m_connection.screenNumber());
        const xcb_atom_t selection = m_connection.atom(name);
        if (selection == XCB_ATOM_NONE)
            return XCB_WINDOW_NONE;
        m_manager = m_connection.ask<xcb_get_selection_owner_reply>(xcb_get_selection_owner, selection);
    }
    auto answer = std::exchange(m_manager, {});
    return answer ? answer->owner : xcb_window_t(XCB_WINDOW_NONE);
}

PanelSurface& X11PanelHost::surfaceFor(const Rect& frame)
{
    const QRect xRect = x11RootRect(frame, m_screens.lastPrimaryHeight());
    if (!m_connection.isConnected())
        return m_outline;
    const xcb_window_t manager = compositingManager();
    const bool translucent = manager != XCB_WINDOW_NONE && m_translucent.ensureWindow();
    Log::overlay().debug(modeMessage, translucent ? "translucent" : "as an outline",
                         manager != XCB_WINDOW_NONE ? "present" : "absent");
    if (translucent) {
        m_translucent.prepare(xRect, manager);
        return m_translucent;
    }
    m_translucent.retire();
    m_outline.prepare(xRect);
    return m_outline;
}

ScreenRef X11PanelHost::screenOf(const Rect& frame) const
{
    for (const ScreenRef& screen : m_screens.lastRead())
        if (screen->frame().contains(frame.midpoint()))
            return screen;
    return nullptr;
}

} // namespace mosaro
