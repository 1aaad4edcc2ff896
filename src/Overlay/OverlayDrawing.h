#pragma once

#include "Overlay/OverlayPresentation.h"
#include "Platform/Geometry.h"

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

} // namespace mosaro
