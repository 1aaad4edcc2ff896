#pragma once

#include "Platform/Geometry.h"
#include "Platform/KeyEvent.h"
#include "Platform/Screen.h"

#include <QImage>
#include <QRect>
#include <QRegion>
#include <QRgb>
#include <QSize>
#include <functional>
#include <memory>
#include <vector>

namespace mosaro {

// What the overlay panel is drawn onto: a borderless surface above every window over one
// rectangle of the screen, taking no shadow. The desktop keeps it between showings, and it keeps
// its pixels where it can, so that a drawing only sends what changed.
class PanelSurface {
public:
    enum class Mode {
        translucent, // blended by the compositor: every pixel as drawn, dimming included
        outline,     // no blending: opaque grid lines and highlight outline, nothing else
    };

    virtual ~PanelSurface() = default;

    virtual Mode mode() const = 0;
    virtual QSize size() const = 0;
    // Whether it still shows what was last drawn on it: false after it was resized, moved to
    // another compositor, or lost pixels while hidden.
    virtual bool keptPixels() const = 0;

    // Where pointer events land on it; empty, the default, lets clicks through to the windows below.
    virtual void setInputRegion(const QRegion& region) = 0;
    // Puts it on screen above every other window, or takes it off.
    virtual void show() = 0;
    virtual void hide() = 0;
    virtual bool isShown() const = 0;
    // A frame is complete: send it on its way.
    virtual void flush() = 0;

    // Pixels lost while it is shown (its buffer was replaced): the owner draws them again.
    std::function<void(const QRegion&)> onExposed;
};

// A surface in translucent mode takes premultiplied ARGB pixels, set as they are (no blending).
class TranslucentPanelSurface : public PanelSurface {
public:
    Mode mode() const final { return Mode::translucent; }
    virtual void fillRects(const std::vector<QRect>& rects, QRgb pixel) = 0;
    virtual void putImage(const QImage& image, QPoint at) = 0;
};

// A surface in outline mode shows two layers of one colour each: the grid lines, and the
// highlight's outline above them.
class OutlinePanelSurface : public PanelSurface {
public:
    Mode mode() const final { return Mode::outline; }
    virtual void setOutline(const QRegion& lines, QRgb lineColour, const QRegion& outline, QRgb outlineColour) = 0;
};

// The keyboard's way to the panel for one showing, and back to the window it came from.
// The hand-over completes when the desktop allows it: at once, once another client that holds
// the keyboard lets go, or once a compositor focuses the panel; onHeld reports it.
class PanelKeyboard {
public:
    virtual ~PanelKeyboard() = default;

    // Asks for the keyboard before anything is drawn, so that keys typed from now on reach
    // onKey in order.
    virtual void request() = 0;
    // The panel is on screen: an answer already on its way is taken in now, so that a shown
    // panel knows whether it holds the keyboard; one not given yet comes later.
    virtual void settle() = 0;
    // Gives the keyboard back to the window that had it when it was requested.
    virtual void release() = 0;

    // Keys, in the portable key model, while the panel holds the keyboard.
    std::function<void(const KeyEvent&)> onKey;
    // The hand-over completed: during settle() or later, from the event loop.
    std::function<void()> onHeld;
    // The keyboard could not be had, or it went elsewhere: another window became active, or the
    // desktop ended the hand-over.
    std::function<void()> onLost;
};

// The desktop's side of the overlay panel.
class PanelHost {
public:
    virtual ~PanelHost() = default;

    // The keyboard hand-over of one showing.
    virtual std::unique_ptr<PanelKeyboard> makeKeyboard() = 0;
    // Asks, without waiting, what the surface of the coming showing depends on.
    virtual void anticipateSurface() {}
    // The surface for a showing over the frame (screen coordinates), readied but not shown.
    virtual PanelSurface& surfaceFor(const Rect& frame) = 0;
    // The display a panel over the frame shows on, from the displays as last read.
    virtual ScreenRef screenOf(const Rect& frame) const = 0;
};

} // namespace mosaro
