#pragma once

#include "Overlay/OverlayPresentation.h"

#include <QColor>
#include <QImage>
#include <QRectF>
#include <QSizeF>
#include <optional>

class QPainter;

namespace mosaro {

struct OverlayPaintOptions {
    QColor accent;
    // What lies under the panel when the desktop cannot blend windows (no compositor).
    const QImage* background = nullptr;
    // The highlight's current rectangle while it animates; the target rectangle otherwise.
    std::optional<QRectF> highlight;
};

// Paints one frame of the overlay: dimming, grid lines and the highlighted region.
// Without a presentation nothing is painted (a fully transparent view).
void paintOverlay(QPainter& painter, const std::optional<OverlayPresentation>& presentation, QSizeF size,
                  const OverlayPaintOptions& options);

QRectF highlightRect(const OverlayPresentation& presentation, QSizeF size);

} // namespace mosaro
