#pragma once

#include "Overlay/UI/OverlayFrame.h"
#include "Platform/UI/PanelSurface.h"

#include <QImage>
#include <QRegion>
#include <QRgb>
#include <optional>
#include <vector>

namespace mosaro {

// What the overlay is drawn onto: the desktop's panel surface, or an image in tests. It keeps
// its pixels between frames (and between showings), so each frame only draws what changed.
class OverlaySurface {
public:
    using Mode = PanelSurface::Mode;

    virtual ~OverlaySurface() = default;

    virtual Mode mode() const = 0;
    virtual QSize size() const = 0;

    // The frame the surface shows now, when it is known to hold one.
    virtual const std::optional<OverlayFrame>& contents() const = 0;
    virtual void setContents(std::optional<OverlayFrame> frame) = 0;

    // Translucent mode: premultiplied ARGB pixels, set as they are (no blending).
    virtual void fillRects(const std::vector<QRect>& rects, QRgb pixel) = 0;
    virtual void putImage(const QImage& image, QPoint at) = 0;

    // Outline mode: the pixels of the line layer and of the outline above it, each one colour.
    virtual void setOutline(const QRegion& lines, QRgb lineColour, const QRegion& outline, QRgb outlineColour) = 0;

    // The frame is complete: send it on its way.
    virtual void flush() {}
};

} // namespace mosaro
