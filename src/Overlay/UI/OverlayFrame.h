#pragma once

#include "Overlay/OverlayPresentation.h"
#include "Platform/Geometry.h"

#include <QRect>
#include <QSize>
#include <vector>

namespace mosaro {

// One frame of the overlay on a pixel grid: the grid lines and where the highlight is drawn at
// this moment (it moves between two regions during the animation).
struct OverlayFrame {
    QSize size;
    std::vector<QRect> lines; // one-pixel grid lines
    Rect highlight;           // top-left origin, y down

    friend bool operator==(const OverlayFrame& a, const OverlayFrame& b)
    {
        return a.size == b.size && a.lines == b.lines && a.highlight == b.highlight;
    }
};

// The frame of a presentation with the highlight at rest on its region.
OverlayFrame overlayFrame(const OverlayPresentation& presentation, QSize size);

} // namespace mosaro
