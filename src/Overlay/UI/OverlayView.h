#pragma once

#include "Overlay/OverlayViewModel.h"
#include "Overlay/UI/OverlayRenderer.h"
#include "Overlay/UI/OverlaySurface.h"

#include <QObject>
#include <QRegion>
#include <QTimer>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace mosaro {

// Draws the overlay from the view model onto a surface and redraws whenever the presentation
// changes. When the region changes the highlight glides to it linearly over 0.08 s: the first
// step is drawn at once, the next ones one display frame apart, each repainting only the
// pixels that changed.
class OverlayView : public QObject {
    Q_OBJECT
public:
    static constexpr int framesPerSecond = 60;
    // Monotonic time in nanoseconds: where a glide is depends on it, not on when a frame ran.
    using Clock = std::function<std::int64_t()>;
    static std::int64_t steadyNanoseconds();

    OverlayView(OverlaySurface& surface, QColor accent, Clock clock = steadyNanoseconds);

    void setViewModel(std::shared_ptr<OverlayViewModel> viewModel);
    // Starts drawing on the surface (a showing): the current presentation is drawn now.
    void show();
    // Stops drawing; an animation in flight is dropped.
    void hide();
    // Draws everything again, for a surface that lost its pixels.
    void redraw();
    // Draws the current frame again inside the region, for a surface that lost those pixels.
    void repaint(const QRegion& region);

    bool isAnimating() const { return m_animation.has_value(); }

Q_SIGNALS:
    // One frame was drawn; the region lists the pixels it repainted.
    void framePainted(const QRegion& region);

private:
    struct Animation {
        Rect from;
        Rect to;
        std::int64_t start = 0;
    };

    void presentationChanged();
    void step();
    void drawFrame(const Rect& highlight, bool repaintHighlight = false);
    Rect currentHighlight() const;

    OverlaySurface& m_surface;
    OverlayRenderer m_renderer;
    Clock m_clock;
    std::shared_ptr<OverlayViewModel> m_viewModel;
    QMetaObject::Connection m_connection;
    std::optional<OverlayPresentation> m_drawn; // the presentation the last frame came from
    std::optional<Rect> m_drawnHighlight;       // where that frame put the highlight
    std::optional<Animation> m_animation;
    QTimer m_frameTimer;
    bool m_showing = false;
};

} // namespace mosaro
