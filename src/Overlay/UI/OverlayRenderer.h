#pragma once

#include "Overlay/UI/OverlayPainter.h"
#include "Overlay/UI/OverlaySurface.h"

#include <QColor>
#include <QImage>
#include <QRegion>

namespace mosaro {

// Brings a surface from the frame it shows to the next one, touching only the pixels that
// differ. In translucent mode the flat parts (dimming, lines, the inside of the highlight) are
// filled with their exact pixels, and only the highlight's rounded, antialiased edge is painted
// into small images; the result equals a full repaint of the frame pixel for pixel.
class OverlayRenderer {
public:
    explicit OverlayRenderer(QColor accent);

    // The region repainted. With repaintHighlight the highlight is drawn even where the surface
    // already shows it (a new showing draws at least its highlight).
    QRegion draw(OverlaySurface& surface, const OverlayFrame& next, bool repaintHighlight = false);

    // Paints the frame again inside the region, whatever the surface holds there.
    void repaint(OverlaySurface& surface, const OverlayFrame& frame, const QRegion& region);

    const QColor& accent() const { return m_accent; }
    const OverlayPixels& pixels() const { return m_pixels; }

private:
    QRegion drawTranslucent(OverlaySurface& surface, const OverlayFrame& next, bool repaintHighlight);
    QRegion drawOutline(OverlaySurface& surface, const OverlayFrame& next);
    void paintRegion(OverlaySurface& surface, const OverlayFrame& frame, const QRegion& region);
    QImage paintTile(const OverlayFrame& frame, const QRect& tile, const QRect& interior) const;

    QColor m_accent;
    OverlayPixels m_pixels;
};

// The pixels of the outline mode: the outline of the highlight, and the grid lines not under it.
QRegion outlineRegion(const OverlayFrame& frame);
QRegion lineRegion(const std::vector<QRect>& lines);

} // namespace mosaro
