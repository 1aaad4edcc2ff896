#include "Overlay/UI/OverlayRenderer.h"

#include "Overlay/OverlayDrawing.h"

#include <QImage>
#include <QPainter>

#include <cstring>

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
        if (shown->highlight != next.highlight || repaintHighlight) {
            QRegion moved = QRegion(highlightPixelBounds(shown->highlight)) + highlightPixelBounds(next.highlight);
            // Inside both highlights the pixels are the flat fill before and after.
            if (!repaintHighlight)
                moved -= highlightInterior(shown->highlight) & highlightInterior(next.highlight);
            changed += moved;
        }
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
    for (const QRect& tile : (region & bounds) - interior)
        surface.putImage(paintTile(frame, tile, interior), tile.topLeft());
}

QImage OverlayRenderer::paintTile(const OverlayFrame& frame, const QRect& tile, const QRect& interior) const
{
    QImage image(tile.size(), QImage::Format_ARGB32_Premultiplied);
    // Painting costs by the row. Between the corners the highlight's edges are vertical, so rows
    // there look alike unless a grid line crosses them: one is painted and copied to the others.
    auto alike = [&](int y) {
        if (interior.isEmpty() || y < interior.top() || y > interior.bottom())
            return false;
        for (const QRect& line : frame.lines)
            if (line.intersects(QRect(tile.left(), y, tile.width(), 1)) &&
                (line.top() > tile.top() || line.bottom() < tile.bottom()))
                return false;
        return true;
    };
    auto paintRows = [&](int top, int count, uchar* into) {
        QImage rows(into, tile.width(), count, int(image.bytesPerLine()), QImage::Format_ARGB32_Premultiplied);
        rows.fill(Qt::transparent);
        QPainter painter(&rows);
        painter.translate(-tile.left(), -top);
        paintOverlayFrame(painter, frame, m_accent);
    };
    const uchar* sample = nullptr;
    for (int y = tile.top(); y <= tile.bottom();) {
        const bool same = alike(y);
        int end = y + 1;
        while (end <= tile.bottom() && alike(end) == same)
            ++end;
        uchar* first = image.scanLine(y - tile.top());
        if (!same) {
            paintRows(y, end - y, first);
        } else {
            if (!sample) {
                paintRows(y, 1, first);
                sample = first;
            }
            for (int row = y; row < end; ++row)
                if (image.scanLine(row - tile.top()) != sample)
                    std::memcpy(image.scanLine(row - tile.top()), sample, std::size_t(tile.width()) * 4);
        }
        y = end;
    }
    return image;
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
