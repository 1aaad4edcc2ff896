#pragma once

#include "Overlay/OverlayPresentation.h"
#include "Overlay/UI/OverlayFrame.h"

#include <QColor>
#include <QRectF>
#include <QRgb>
#include <QSizeF>
#include <optional>

class QPainter;

namespace mosaro {

struct OverlayPaintOptions {
    QColor accent;
    // The highlight's current rectangle while it animates; the target rectangle otherwise.
    std::optional<QRectF> highlight;
};

// Paints one frame of the overlay, layer by layer: dimming, grid lines and the highlighted
// region. Without a presentation nothing is painted (a fully transparent view).
void paintOverlay(QPainter& painter, const std::optional<OverlayPresentation>& presentation, QSizeF size,
                  const OverlayPaintOptions& options);
void paintOverlayFrame(QPainter& painter, const OverlayFrame& frame, const QColor& accent);

QRectF highlightRect(const OverlayPresentation& presentation, QSizeF size);

// The flat colours of the drawing as premultiplied pixels, exactly as the painter blends them.
struct OverlayPixels {
    QRgb dimming = 0;      // the dimming alone
    QRgb line = 0;         // a grid line over the dimming
    QRgb fill = 0;         // the highlight's fill over the dimming
    QRgb fillOnLine = 0;   // the highlight's fill over a grid line
    QRgb opaqueLine = 0;   // the outline mode's grid lines (opaque white)
    QRgb opaqueAccent = 0; // the outline mode's highlight outline (opaque accent)
};
OverlayPixels overlayPixels(const QColor& accent);

} // namespace mosaro
