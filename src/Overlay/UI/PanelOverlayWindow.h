#pragma once

#include "Overlay/OverlayWindow.h"
#include "Overlay/UI/OverlaySurface.h"
#include "Platform/LocalEventMonitors.h"
#include "Platform/NotificationCenter.h"
#include "Platform/UI/PanelSurface.h"

#include <QColor>
#include <memory>
#include <optional>

namespace mosaro {

class OverlayView;
class PanelOverlayWindow;

// The drawing's side of the desktop's panel surface: it remembers the frame the surface shows,
// so that each showing only draws what changed, and forgets it when the surface lost its pixels
// or another surface takes over.
class PanelDrawing final : public OverlaySurface {
public:
    // The surface a showing draws on from now on, readied by the host.
    void attach(PanelSurface& surface);

    PanelSurface* surface() const { return m_surface; }
    // The panel currently drawing.
    PanelOverlayWindow* owner = nullptr;

    Mode mode() const override;
    QSize size() const override;
    const std::optional<OverlayFrame>& contents() const override { return m_contents; }
    void setContents(std::optional<OverlayFrame> frame) override { m_contents = std::move(frame); }
    void fillRects(const std::vector<QRect>& rects, QRgb pixel) override;
    void putImage(const QImage& image, QPoint at) override;
    void setOutline(const QRegion& lines, QRgb lineColour, const QRegion& outline, QRgb outlineColour) override;
    void flush() override;

private:
    PanelSurface* m_surface = nullptr;
    std::optional<OverlayFrame> m_contents;
};

// The overlay panel for one showing, on the desktop's panel surface: it hands the keys of the
// surface's keyboard to the application's local monitors, and posts windowDidResignKey when the
// keyboard goes elsewhere (or never came).
class PanelOverlayWindow final : public OverlayWindow {
public:
    PanelOverlayWindow(PanelHost& host, PanelDrawing& drawing, LocalEventMonitors& monitors,
                       NotificationCenter& defaultCenter, QColor accent);
    ~PanelOverlayWindow() override;

    void setFrame(const Rect& frame) override { m_frame = frame; }
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

private:
    bool drawing() const { return m_drawing.owner == this; }
    void loseKey();

    PanelHost& m_host;
    PanelDrawing& m_drawing;
    LocalEventMonitors& m_monitors;
    NotificationCenter& m_center;
    std::unique_ptr<OverlayView> m_view;
    std::unique_ptr<PanelKeyboard> m_keyboard;
    Rect m_frame;
    bool m_keyboardAsked = false;
    bool m_isKey = false;
    bool m_closed = false;
};

// Panels on the desktop's panel host; the surface's drawing outlives each showing.
class PanelOverlayWindowFactory final : public OverlayWindowFactory {
public:
    PanelOverlayWindowFactory(PanelHost& host, LocalEventMonitors& monitors, NotificationCenter& defaultCenter);
    std::unique_ptr<OverlayWindow> makeOverlayWindow() override;

private:
    PanelHost& m_host;
    LocalEventMonitors& m_monitors;
    NotificationCenter& m_center;
    PanelDrawing m_drawing;
};

} // namespace mosaro
