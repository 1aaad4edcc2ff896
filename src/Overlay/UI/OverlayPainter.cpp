#include "Overlay/UI/OverlayPainter.h"

#include "Overlay/OverlayDrawing.h"

#include <QPainter>
#include <QPainterPath>

namespace mosaro {

QRectF highlightRect(const OverlayPresentation& presentation, QSizeF size)
{
    const Rect r = overlayDrawing(presentation, size.width(), size.height()).highlight;
    return {r.x, r.y, r.width, r.height};
}

void paintOverlay(QPainter& painter, const std::optional<OverlayPresentation>& presentation, QSizeF size,
                  const OverlayPaintOptions& options)
{
    if (!presentation)
        return;
    const OverlayDrawing d = overlayDrawing(*presentation, size.width(), size.height());
    const QRectF all(QPointF(0, 0), size);

    painter.save();
    if (options.background)
        painter.drawImage(all, *options.background);

    QColor dim(Qt::black);
    dim.setAlphaF(OverlayDrawing::dimmingOpacity);
    painter.fillRect(all, dim);

    // Grid lines stay crisp: one device pixel on the boundary, outer edges not drawn.
    painter.setRenderHint(QPainter::Antialiasing, false);
    QColor line(Qt::white);
    line.setAlphaF(OverlayDrawing::gridLineOpacity);
    QPen pen(line, OverlayDrawing::gridLineWidth, Qt::SolidLine, Qt::FlatCap, Qt::MiterJoin);
    pen.setMiterLimit(10);
    painter.setPen(pen);
    QPainterPath lines;
    for (double x : d.verticalLines) {
        lines.moveTo(x, 0);
        lines.lineTo(x, size.height());
    }
    for (double y : d.horizontalLines) {
        lines.moveTo(0, y);
        lines.lineTo(size.width(), y);
    }
    painter.drawPath(lines);

    painter.setRenderHint(QPainter::Antialiasing, true);
    const QRectF highlight =
        options.highlight.value_or(QRectF(d.highlight.x, d.highlight.y, d.highlight.width, d.highlight.height));
    QColor fill = options.accent;
    fill.setAlphaF(OverlayDrawing::highlightFillOpacity);
    QColor stroke = options.accent;
    stroke.setAlphaF(1.0);
    QPainterPath rounded;
    rounded.addRoundedRect(highlight, OverlayDrawing::highlightCornerRadius, OverlayDrawing::highlightCornerRadius);
    painter.fillPath(rounded, fill);
    painter.strokePath(rounded, QPen(stroke, OverlayDrawing::highlightStrokeWidth));
    painter.restore();
}

} // namespace mosaro
