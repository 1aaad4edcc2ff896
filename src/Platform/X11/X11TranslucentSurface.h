#pragma once

#include "Platform/UI/PanelSurface.h"
#include "Platform/X11/X11Connection.h"

namespace mosaro {

// The panel under a compositing manager: one 32-bit ARGB window holding the whole drawing,
// blended by the manager. Between showings it stays mapped off-screen, so that its pixels (and
// the manager's buffer behind them) survive and a new showing only draws what differs. No
// background: the server never paints over what was drawn.
class X11TranslucentSurface final : public TranslucentPanelSurface {
public:
    explicit X11TranslucentSurface(X11Connection& connection);
    ~X11TranslucentSurface() override;
    X11TranslucentSurface(const X11TranslucentSurface&) = delete;
    X11TranslucentSurface& operator=(const X11TranslucentSurface&) = delete;

    // Makes the window; false where the screen offers no ARGB visual.
    bool ensureWindow();
    // Readies the window for a showing over the rectangle (X root coordinates) under the manager
    // that owns the compositing selection now, without showing it.
    void prepare(const QRect& xRect, xcb_window_t manager);
    // Nothing blends it any more: its buffer is not worth keeping.
    void retire();

    QSize size() const override { return m_rect.size(); }
    bool keptPixels() const override { return m_kept; }
    void setInputRegion(const QRegion& region) override;
    void show() override;
    void hide() override;
    bool isShown() const override { return m_shown; }
    void flush() override { m_connection.flush(); }
    void fillRects(const std::vector<QRect>& rects, QRgb pixel) override;
    void putImage(const QImage& image, QPoint at) override;

private:
    void position(bool onScreen);

    X11Connection& m_connection;
    X11Connection::ListenerId m_listener = 0;
    QRegion m_exposed;
    QRect m_rect;
    QRegion m_input;
    bool m_shown = false;
    bool m_kept = false;
    bool m_lostWhileHidden = false;

    xcb_visualid_t m_visual = 0;
    bool m_visualLooked = false;
    X11Colormap m_colormap;
    X11Window m_window;
    X11GraphicsContext m_gc;
    QSize m_windowSize;
    bool m_mapped = false;
    xcb_window_t m_compositor = XCB_WINDOW_NONE; // the manager the pixels were drawn under
};

} // namespace mosaro
