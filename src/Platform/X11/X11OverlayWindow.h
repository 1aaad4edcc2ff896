#pragma once

#include "Overlay/OverlayWindow.h"
#include "Platform/LocalEventMonitors.h"
#include "Platform/NotificationCenter.h"
#include "Platform/X11/X11Connection.h"

#include <memory>

namespace mosaro {

class OverlayView;
class X11HotKeyService;

// The overlay panel on X11: an override-redirect, click-through window over the display's
// visible frame that holds an active keyboard grab while shown, so keys reach Mosaro while the
// window manager's active window stays the target. Without a compositing manager, alpha is
// ignored, so it paints what was on screen under the dimming.
class X11OverlayWindow final : public OverlayWindow {
public:
    X11OverlayWindow(X11Connection& connection, const ScreenList& screens, LocalEventMonitors& monitors,
                     NotificationCenter& defaultCenter, X11HotKeyService* hotKeys);
    ~X11OverlayWindow() override;

    void setFrame(const Rect& frame) override;
    void setContent(std::shared_ptr<OverlayViewModel> viewModel) override;
    void makeKeyAndOrderFront() override;
    void resignKeyWindow() override;
    void orderOut() override;
    void close() override;

    Rect frame() const override { return m_frame; }
    bool isKeyWindow() const override { return m_isKey; }
    bool isVisible() const override;
    ScreenRef screen() const override;

    xcb_window_t xWindow() const;

private:
    bool handleEvent(xcb_generic_event_t* event);
    bool grabKeyboard();
    void loseKey();
    void releaseKeyboard();
    Rect xRect() const;
    bool compositorRunning();

    X11Connection& m_connection;
    const ScreenList& m_screens;
    LocalEventMonitors& m_monitors;
    NotificationCenter& m_center;
    X11HotKeyService* m_hotKeys;
    std::unique_ptr<OverlayView> m_view;
    X11Connection::ListenerId m_listener = 0;
    Rect m_frame;
    bool m_isKey = false;
    bool m_closed = false;
    xcb_window_t m_activeAtShow = XCB_WINDOW_NONE;
};

class X11OverlayWindowFactory final : public OverlayWindowFactory {
public:
    X11OverlayWindowFactory(X11Connection& connection, const ScreenList& screens, LocalEventMonitors& monitors,
                            NotificationCenter& defaultCenter, X11HotKeyService* hotKeys)
        : m_connection(connection), m_screens(screens), m_monitors(monitors), m_center(defaultCenter),
          m_hotKeys(hotKeys)
    {}
    std::unique_ptr<OverlayWindow> makeOverlayWindow() override
    {
        return std::make_unique<X11OverlayWindow>(m_connection, m_screens, m_monitors, m_center, m_hotKeys);
    }

private:
    X11Connection& m_connection;
    const ScreenList& m_screens;
    LocalEventMonitors& m_monitors;
    NotificationCenter& m_center;
    X11HotKeyService* m_hotKeys;
};

} // namespace mosaro
