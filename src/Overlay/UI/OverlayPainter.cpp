#include "Overlay/UI/OverlayPainter.h"

#include "Overlay/OverlayDrawing.h"

#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QRegion>

#include <functional>

namespace mosaro {

OverlayFrame overlayFrame(const OverlayPresentation& presentation, QSize size)
{
    const OverlayDrawing d = overlayDrawing(presentation, size.width(), size.height());
    return {size, gridLinePixels(d, size.width(), size.height()), d.highlight};
}

QRectF highlightRect(const OverlayPresentation& presentation, QSizeF size)
{
    const Rect r = overlayDrawing(presentation, size.width(), size.height()).highlight;
    return {r.x, r.y, r.width, r.height};
}

namespace {

QColor withAlpha(QColor colour, double alpha)
{
    colour.setAlphaF(float(alpha));
    return colour;
}

void paintDimming(QPainter& painter, const QRect& area)
{
    painter.fillRect(area, withAlpha(Qt::black, OverlayDrawing::dimmingOpacity));
}

void paintLines(QPainter& painter, const std::vector<QRect>& lines)
{
    // One stroke of one path: where lines cross, the pixel is covered once.
    QRegion region;
    for (const QRect& r : lines)
        region += r;
    const QColor colour = withAlpha(Qt::white, OverlayDrawing::gridLineOpacity);
    for (const QRect& r : region)
        painter.fillRect(r, colour);
}

void paintHighlight(QPainter& painter, const Rect& h, const QColor& accent)
{
    painter.setRenderHint(QPainter::Antialiasing, true);
    QPainterPath rounded;
    rounded.addRoundedRect(QRectF(h.x, h.y, h.width, h.height), OverlayDrawing::highlightCornerRadius,
                           OverlayDrawing::highlightCornerRadius);
    painter.fillPath(rounded, withAlpha(accent, OverlayDrawing::highlightFillOpacity));
    painter.strokePath(rounded, QPen(withAlpha(accent, 1), OverlayDrawing::highlightStrokeWidth));
}

QRgb pixelOf(const std::function<void(QPainter&)>& paint)
{
    QImage probe(1, 1, QImage::Format_ARGB32_Premultiplied);
    probe.fill(Qt::transparent);
    QPainter painter(&probe);
    paint(painter);
    painter.end();
    return reinterpret_cast<const QRgb*>(probe.constBits())[0];
}

} // namespace

void paintOverlayFrame(QPainter& painter, const OverlayFrame& frame, const QColor& accent)
{
    painter.save();
    paintDimming(painter, QRect(QPoint(0, 0), frame.size));
    paintLines(painter, frame.lines);
    paintHighlight(painter, frame.highlight, accent);
    painter.restore();
}

void paintOverlay(QPainter& painter, const std::optional<OverlayPresentation>& presentation, QSizeF size,
                  const OverlayPaintOptions& options)
{
    if (!presentation)
        return;
    OverlayFrame frame = overlayFrame(*presentation, size.toSize());
    if (options.highlight) {
        const QRectF& h = *options.highlight;
        frame.highlight = {h.x(), h.y(), h.width(), h.height()};
    }
    paintOverlayFrame(painter, frame, options.accent);
}

OverlayPixels overlayPixels(const QColor& accent)
{
    const QRect one(0, 0, 1, 1);
    OverlayPixels p;
    p.dimming = pixelOf([&](QPainter& painter) { paintDimming(painter, one); });
    p.line = pixelOf([&](QPainter& painter) {
        paintDimming(painter, one);
        paintLines(painter, {one});
    });
    // A highlight large enough that the probed pixel is deep inside its flat fill.
    const Rect around{-50, -50, 101, 101};
    p.fill = pixelOf([&](QPainter& painter) {
        paintDimming(painter, one);
        paintHighlight(painter, around, accent);
    });
    p.fillOnLine = pixelOf([&](QPainter& painter) {
        paintDimming(painter, one);
        paintLines(painter, {one});
        paintHighlight(painter, around, accent);
    });
    p.opaqueLine = qRgb(255, 255, 255);
    p.opaqueAccent = withAlpha(accent, 1).rgb();
    return p;
}

} // namespace mosaro
