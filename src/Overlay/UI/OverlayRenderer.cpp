#include "Overlay/UI/OverlayRenderer.h"

#include "Overlay/OverlayDrawing.h"

#include <QImage>
#include <QPainter>

namespace mosaro {

namespace {

std::vector<QRect> rectsOf(const QRegion& region)
{
    return {region.begin(), region.end()};
}

} // namespace

QRegion lineRegion(const std::vector<QRect>& lines)
{
    QRegion region;
    for (const QRect& r : lines)
        region += r;
    return region;
}

QRegion outlineRegion(const OverlayFrame& frame)
{
    QRegion region;
    for (const QRect& r :
         outlinePixels(frame.highlight, OverlayDrawing::outlineWidth, OverlayDrawing::highlightCornerRadius))
        region += r;
    return region & QRect(QPoint(0, 0), frame.size);
}

OverlayRenderer::OverlayRenderer(QColor accent) : m_accent(accent), m_pixels(overlayPixels(accent))
{}

QRegion OverlayRenderer::draw(OverlaySurface& surface, const OverlayFrame& next, bool repaintHighlight)
{
    QRegion painted = surface.mode() == OverlaySurface::Mode::translucent
                          ? drawTranslucent(surface, next, repaintHighlight)
                          : drawOutline(surface, next);
    surface.setContents(next);
    surface.flush();
    return painted;
}

QRegion OverlayRenderer::drawTranslucent(OverlaySurface& surface, const OverlayFrame& next, bool repaintHighlight)
{
    const QRect all(QPoint(0, 0), next.size);
    const auto& shown = surface.contents();
    QRegion changed;
    if (!shown || shown->size != next.size) {
        changed = all;
    } else {
        if (shown->lines != next.lines)
            changed += lineRegion(shown->lines) ^ lineRegion(next.lines);
        if (shown->highlight != next.highlight || repaintHighlight)
            changed += QRegion(highlightPixelBounds(shown->highlight)) + highlightPixelBounds(next.highlight);
        changed &= all;
    }
    if (!changed.isEmpty())
        paintRegion(surface, next, changed);
    return changed;
}

void OverlayRenderer::paintRegion(OverlaySurface& surface, const OverlayFrame& frame, const QRegion& region)
{
    const QRegion lines = lineRegion(frame.lines);
    const QRect bounds = highlightPixelBounds(frame.highlight) & QRect(QPoint(0, 0), frame.size);
    const QRect interior = highlightInterior(frame.highlight) & bounds;

    // Outside the highlight: the dimming, and the lines over it.
    const QRegion plain = region - bounds;
    if (!plain.isEmpty()) {
        surface.fillRects(rectsOf(plain), m_pixels.dimming);
        if (const QRegion onLines = plain & lines; !onLines.isEmpty())
            surface.fillRects(rectsOf(onLines), m_pixels.line);
    }

    // The highlight's flat inside: its fill over the dimming, or over a line.
    const QRegion inside = region & interior;
    if (!inside.isEmpty()) {
        surface.fillRects(rectsOf(inside), m_pixels.fill);
        if (const QRegion onLines = inside & lines; !onLines.isEmpty())
            surface.fillRects(rectsOf(onLines), m_pixels.fillOnLine);
    }

    // The rest of the highlight (stroke, corners, antialiased edge) is painted as the drawing is.
    for (const QRect& tile : (region & bounds) - interior) {
        QImage image(tile.size(), QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        painter.translate(-tile.topLeft());
        paintOverlayFrame(painter, frame, m_accent);
        painter.end();
        surface.putImage(image, tile.topLeft());
    }
}

void OverlayRenderer::repaint(OverlaySurface& surface, const OverlayFrame& frame, const QRegion& region)
{
    if (surface.mode() == OverlaySurface::Mode::translucent)
        paintRegion(surface, frame, region & QRect(QPoint(0, 0), frame.size));
    surface.flush();
}

QRegion OverlayRenderer::drawOutline(OverlaySurface& surface, const OverlayFrame& next)
{
    const QRegion outline = outlineRegion(next);
    const QRegion lines = lineRegion(next.lines) - outline;
    const auto& shown = surface.contents();
    QRegion changed;
    if (!shown || shown->size != next.size) {
        changed = lines + outline;
    } else {
        const QRegion oldOutline = outlineRegion(*shown);
        changed = (oldOutline ^ outline) + ((lineRegion(shown->lines) - oldOutline) ^ lines);
    }
    if (!changed.isEmpty() || !shown)
        surface.setOutline(lines, m_pixels.opaqueLine, outline, m_pixels.opaqueAccent);
    return changed;
}

} // namespace mosaro
