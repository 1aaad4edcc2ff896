#include "Overlay/UI/OverlayView.h"

#include "Overlay/OverlayDrawing.h"

#include <algorithm>
#include <chrono>

namespace mosaro {

namespace {
constexpr double frameSeconds = 1.0 / OverlayView::framesPerSecond;
} // namespace

std::int64_t OverlayView::steadyNanoseconds()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

OverlayView::OverlayView(OverlaySurface& surface, QColor accent, Clock clock)
    : m_surface(surface), m_renderer(accent), m_clock(std::move(clock))
{
    m_frameTimer.setTimerType(Qt::PreciseTimer);
    m_frameTimer.setInterval(int(frameSeconds * 1000));
    connect(&m_frameTimer, &QTimer::timeout, this, [this] { step(); });
}

void OverlayView::setViewModel(std::shared_ptr<OverlayViewModel> viewModel)
{
    disconnect(m_connection);
    m_viewModel = std::move(viewModel);
    if (m_viewModel)
        m_connection =
            connect(m_viewModel.get(), &OverlayViewModel::presentationChanged, this, [this] { presentationChanged(); });
    if (m_showing)
        redraw();
}

void OverlayView::show()
{
    m_showing = true;
    redraw();
}

void OverlayView::hide()
{
    m_showing = false;
    m_animation.reset();
    m_frameTimer.stop();
    m_drawn.reset();
    m_drawnHighlight.reset();
}

void OverlayView::redraw()
{
    m_animation.reset();
    m_frameTimer.stop();
    m_drawn.reset();
    const auto& p = m_viewModel ? m_viewModel->presentation() : std::nullopt;
    if (!m_showing || !p)
        return;
    m_drawn = p;
    drawFrame(overlayFrame(*p, m_surface.size()).highlight, true);
}

void OverlayView::repaint(const QRegion& region)
{
    if (!m_showing || !m_drawn || !m_drawnHighlight || !m_surface.contents())
        return;
    m_renderer.repaint(m_surface, *m_surface.contents(), region);
    Q_EMIT framePainted(region);
}

Rect OverlayView::currentHighlight() const
{
    if (!m_animation)
        return m_drawnHighlight.value_or(Rect{});
    const double t =
        (double(m_clock() - m_animation->start) / 1e9 + frameSeconds) / OverlayDrawing::highlightAnimationSeconds;
    return interpolatedRect(m_animation->from, m_animation->to, std::min(1.0, t));
}

void OverlayView::presentationChanged()
{
    if (!m_showing)
        return;
    const auto& p = m_viewModel ? m_viewModel->presentation() : std::nullopt;
    if (!p) {
        m_animation.reset();
        m_frameTimer.stop();
        m_drawn.reset();
        return;
    }
    const Rect target = overlayFrame(*p, m_surface.size()).highlight;
    const bool regionChanged = m_drawn && m_drawnHighlight && m_drawn->region != p->region;
    m_drawn = p;
    if (!regionChanged) {
        // The grid alone changed: the highlight follows without gliding.
        m_animation.reset();
        m_frameTimer.stop();
        drawFrame(target);
        return;
    }
    // Glide from wherever the highlight is drawn now; the first step goes out at once.
    const Rect from = *m_drawnHighlight;
    m_animation = Animation{from, target, m_clock()};
    m_frameTimer.start();
    step();
}

void OverlayView::step()
{
    if (!m_animation || !m_drawn) {
        m_frameTimer.stop();
        return;
    }
    const Rect highlight = currentHighlight();
    const bool last = highlight == m_animation->to;
    drawFrame(highlight);
    if (last) {
        m_animation.reset();
        m_frameTimer.stop();
    }
}

void OverlayView::drawFrame(const Rect& highlight, bool repaintHighlight)
{
    OverlayFrame frame = overlayFrame(*m_drawn, m_surface.size());
    frame.highlight = highlight;
    const QRegion painted = m_renderer.draw(m_surface, frame, repaintHighlight);
    m_drawnHighlight = highlight;
    Q_EMIT framePainted(painted);
}

} // namespace mosaro
