#pragma once

#include "Overlay/OverlayWindow.h"
#include "Overlay/UI/OverlaySurface.h"
#include "Platform/LocalEventMonitors.h"
#include "Platform/NotificationCenter.h"
#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11ScreenList.h"

#include <QColor>
#include <QTimer>
#include <functional>
#include <memory>

namespace mosaro {

class OverlayView;
class X11HotKeyService;
class X11OverlayWindow;

// The overlay's native windows, made once and kept between showings. Nothing here reads pixels
// from the server; every pixel is drawn by us or by the server from a window background.
//
// - A one-pixel input-only window holds the keyboard grab, so the keyboard can be taken before
//   anything is drawn, and kept while the panel moves to another display.
// - With a compositing manager: one 32-bit ARGB window holding the whole drawing. Between
//   showings it stays mapped off-screen, so its pixels (and the server's buffer behind them)
//   survive and a new showing only draws what differs.
// - Without one: the grid lines and the highlight's outline as two shaped windows whose pixels
//   the server paints from their background colours: a parent in the accent colour shaped to
//   lines and outline, and a white child shaped to the lines the outline leaves uncovered.
// Every window has an empty input shape: clicks reach the windows below.
class X11OverlaySurface final : public OverlaySurface {
public:
    explicit X11OverlaySurface(X11Connection& connection);
    ~X11OverlaySurface() override;
    X11OverlaySurface(const X11OverlaySurface&) = delete;
    X11OverlaySurface& operator=(const X11OverlaySurface&) = delete;

    // Picks the mode for a showing from the compositing manager's selection and readies the
    // windows for the rectangle (X root coordinates) without showing them.
    void prepare(const QRect& xRect);
    // Puts the prepared windows on screen above every other window, or takes them off.
    void show();
    void hide();
    bool isShown() const { return m_shown; }

    // Asks for the keyboard and for the compositing manager without waiting: the answers come
    // back together with the first frame's, in one round trip.
    void requestKeyboard();
    // The answer to the last keyboard request (GrabSuccess and others), waiting for it if needed.
    std::uint8_t keyboardStatus();
    // Grabs the keyboard for the input window and waits for the answer.
    std::uint8_t grabKeyboard();
    void ungrabKeyboard();
    // Whether an event was generated before the last grab request reached the server.
    bool isBeforeLastGrab(const xcb_generic_event_t* event) const;
    xcb_window_t keyWindow() const { return m_input; }
    xcb_window_t translucentWindow() const { return m_argb; }

    // The panel object currently using the windows.
    X11OverlayWindow* owner = nullptr;
    // Called when the server lost pixels of the translucent window (its buffer was replaced);
    // without it the surface forgets what it holds and the next showing draws everything.
    std::function<void(const QRegion&)> onExposed;

    Mode mode() const override { return m_mode; }
    QSize size() const override { return m_rect.size(); }
    const std::optional<OverlayFrame>& contents() const override { return m_contents; }
    void setContents(std::optional<OverlayFrame> frame) override { m_contents = std::move(frame); }
    void fillRects(const std::vector<QRect>& rects, QRgb pixel) override;
    void putImage(const QImage& image, QPoint at) override;
    void setOutline(const QRegion& lines, QRgb lineColour, const QRegion& outline, QRgb outlineColour) override;
    void flush() override { m_connection.flush(); }

private:
    xcb_window_t compositingManager();
    bool ensureInputWindow();
    bool ensureTranslucentWindow();
    bool ensureOutlineWindows();
    void nameWindow(xcb_window_t window, const char* name, bool withPid);
    std::uint32_t rootPixel(QRgb colour) const;
    void positionTranslucent(bool onScreen);

    X11Connection& m_connection;
    X11Connection::ListenerId m_listener = 0;
    QRegion m_exposed;
    Mode m_mode = Mode::outline;
    QRect m_rect;
    std::optional<OverlayFrame> m_contents;
    bool m_shown = false;

    xcb_window_t m_input = XCB_WINDOW_NONE;
    unsigned int m_grabSequence = 0;
    std::optional<xcb_grab_keyboard_cookie_t> m_grabCookie;
    std::optional<xcb_get_selection_owner_cookie_t> m_managerCookie;
    std::uint8_t m_grabStatus = XCB_GRAB_STATUS_NOT_VIEWABLE;

    xcb_visualid_t m_argbVisual = 0;
    bool m_argbVisualLooked = false;
    xcb_colormap_t m_colormap = 0;
    xcb_window_t m_argb = XCB_WINDOW_NONE;
    xcb_gcontext_t m_argbGc = 0;
    QSize m_argbSize;
    bool m_argbMapped = false;
    xcb_window_t m_compositor = XCB_WINDOW_NONE; // the manager the ARGB pixels were drawn under

    xcb_window_t m_outline = XCB_WINDOW_NONE; // parent, accent colour
    xcb_window_t m_lines = XCB_WINDOW_NONE;   // child, line colour
    QSize m_outlineSize;
    std::optional<QRgb> m_outlineColour;
    std::optional<QRgb> m_lineColour;
};

// The overlay panel on X11 for one showing: an override-redirect, click-through surface over
// the display's visible frame, holding an active keyboard grab while shown, so keys reach
// Mosaro while the window manager's active window stays the target. Its native windows belong
// to the factory and are reused by the next showing.
class X11OverlayWindow final : public OverlayWindow {
public:
    X11OverlayWindow(X11Connection& connection, X11OverlaySurface& surface, const X11ScreenList& screens,
                     LocalEventMonitors& monitors, NotificationCenter& defaultCenter, X11HotKeyService* hotKeys,
                     QColor accent);
    ~X11OverlayWindow() override;

    void setFrame(const Rect& frame) override;
    void setContent(std::shared_ptr<OverlayViewModel> viewModel) override;
    void takeKeyboard() override;
    void makeKeyAndOrderFront() override;
    void resignKeyWindow() override;
    void orderOut() override;
    void close() override;

    Rect frame() const override { return m_frame; }
    bool isKeyWindow() const override { return m_isKey; }
    bool isVisible() const override;
    ScreenRef screen() const override;

    OverlayView& view() { return *m_view; }

private:
    bool handleEvent(xcb_generic_event_t* event);
    bool tryGrab();
    void retryGrab();
    void settleGrab();
    void loseKey();
    void releaseKeyboard();
    bool ownsSurface() const { return m_surface.owner == this; }
    QRect xRect() const;

    X11Connection& m_connection;
    X11OverlaySurface& m_surface;
    const X11ScreenList& m_screens;
    LocalEventMonitors& m_monitors;
    NotificationCenter& m_center;
    X11HotKeyService* m_hotKeys;
    std::unique_ptr<OverlayView> m_view;
    X11Connection::ListenerId m_listener = 0;
    Rect m_frame;
    bool m_isKey = false;
    bool m_keyboardAsked = false;
    bool m_grabAnswered = false;
    bool m_closed = false;
    int m_grabAttempts = 0;
    QTimer m_grabRetry;
    xcb_window_t m_activeAtShow = XCB_WINDOW_NONE;
};

class X11OverlayWindowFactory final : public OverlayWindowFactory {
public:
    X11OverlayWindowFactory(X11Connection& connection, const X11ScreenList& screens, LocalEventMonitors& monitors,
                            NotificationCenter& defaultCenter, X11HotKeyService* hotKeys);
    ~X11OverlayWindowFactory() override;
    std::unique_ptr<OverlayWindow> makeOverlayWindow() override;

private:
    X11Connection& m_connection;
    const X11ScreenList& m_screens;
    LocalEventMonitors& m_monitors;
    NotificationCenter& m_center;
    X11HotKeyService* m_hotKeys;
    std::unique_ptr<X11OverlaySurface> m_surface;
};

} // namespace mosaro
