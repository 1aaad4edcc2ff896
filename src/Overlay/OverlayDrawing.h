#pragma once

#include "Overlay/OverlayPresentation.h"
#include "Platform/Geometry.h"

#include <QRect>
#include <vector>

namespace mosaro {

// Where the overlay draws for a presentation in a view of width x height, origin top-left,
// y down. The visible frame is divided evenly; the margin only affects committed frames.
struct OverlayDrawing {
    static constexpr double dimmingOpacity = 0.18;
    static constexpr double gridLineOpacity = 0.45;
    static constexpr double gridLineWidth = 1;
    static constexpr double highlightFillOpacity = 0.55;
    static constexpr double highlightStrokeWidth = 2;
    static constexpr double highlightCornerRadius = 6;
    static constexpr double highlightInset = 4;
    static constexpr double highlightAnimationSeconds = 0.08;
    // Without a compositing manager only the outline is drawn, opaque; thicker than the
    // translucent stroke so that it reads on light and dark windows alike.
    static constexpr double outlineWidth = 4;

    std::vector<double> verticalLines;   // x of each inner column boundary, full height
    std::vector<double> horizontalLines; // y of each inner row boundary, full width
    Rect highlight;                      // the highlighted region, inset on every side
    Point highlightCentre;

    friend bool operator==(const OverlayDrawing&, const OverlayDrawing&) = default;
};

OverlayDrawing overlayDrawing(std::int64_t columns, std::int64_t rows, const HighlightedRegion& region, double width,
                              double height);
inline OverlayDrawing overlayDrawing(const OverlayPresentation& p, double width, double height)
{
    return overlayDrawing(p.grid.columns, p.grid.rows, p.region, width, height);
}

// --- the same drawing on a pixel grid ---

// The pixels of the grid lines: a one-pixel line at x covers the column starting at floor(x).
// Vertical lines first, then horizontal ones; they cross, so the rectangles overlap there.
std::vector<QRect> gridLinePixels(const OverlayDrawing& drawing, int width, int height);

// Every pixel the highlight (fill, centred stroke and its antialiased edge) can touch.
QRect highlightPixelBounds(const Rect& highlight);

// Pixels inside the highlight that only its flat fill covers: away from the stroke and the
// rounded corners, so each of them has the colour of the fill over whatever lies beneath.
QRect highlightInterior(const Rect& highlight);

// The highlight's outline as rows of pixels: a band of the given width centred on the rounded
// rectangle's edge (pixel centres inside the outer and outside the inner rounded rectangle).
std::vector<QRect> outlinePixels(const Rect& highlight, double width, double cornerRadius);

// The highlight between two rectangles, t from 0 (from) to 1 (to), every edge moving linearly.
Rect interpolatedRect(const Rect& from, const Rect& to, double t);

} // namespace mosaro
