#pragma once

#include "Platform/UI/PanelSurface.h"
#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11KeyboardGrab.h"
#include "Platform/X11/X11OutlineSurface.h"
#include "Platform/X11/X11ScreenList.h"
#include "Platform/X11/X11TranslucentSurface.h"

#include <optional>

namespace mosaro {

class X11HotKeyService;

// The overlay panel on X11: override-redirect windows over the display's visible frame, made
// once and kept between showings, holding an active keyboard grab while shown, so that keys reach
// Mosaro while the window manager's active window stays the target. Each showing is drawn
// translucent when a compositing manager runs, as an outline otherwise. Every window has an
// empty input shape unless asked otherwise: clicks reach the windows below.
class X11PanelHost final : public PanelHost {
public:
    X11PanelHost(X11Connection& connection, const X11ScreenList& screens, X11HotKeyService* hotKeys);

    std::unique_ptr<PanelKeyboard> makeKeyboard() override { return m_keyboard.makeKeyboard(); }
    // Asks who holds the compositing manager's selection; the answer comes back together with the
    // keyboard grab's, in one round trip.
    void anticipateSurface() override;
    PanelSurface& surfaceFor(const Rect& frame) override;
    ScreenRef screenOf(const Rect& frame) const override;

private:
    xcb_window_t compositingManager();

    X11Connection& m_connection;
    const X11ScreenList& m_screens;
    X11KeyboardGrab m_keyboard;
    X11TranslucentSurface m_translucent;
    X11OutlineSurface m_outline;
    X11Pending<xcb_get_selection_owner_reply> m_manager; // asked for the next showing
};

} // namespace mosaro
