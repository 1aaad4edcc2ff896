#pragma once

#include "Platform/Geometry.h"
#include "Platform/X11/X11Properties.h"

#include <optional>

namespace mosaro {

// Where a client window is and what surrounds it, in X root coordinates (y down).
struct X11WindowGeometry {
    Rect client;       // inside the client's own border
    double border = 0; // the client's own X border
    Rect outer;        // the frame the window manager draws, with its border; the client and its border without one
    X11Properties::Extents shadow; // drawn by the client inside its area, invisible (_GTK_FRAME_EXTENTS)
    friend bool operator==(const X11WindowGeometry&, const X11WindowGeometry&) = default;

    // The frame as a person sees it: the outer frame without the client's shadow.
    Rect visible() const;
    // Where the client's border corner sits inside the outer frame.
    Point clientOffset() const { return {client.x - border - outer.x, client.y - border - outer.y}; }
    // How much the frame adds to the client's size, borders included.
    Size decoration() const { return {outer.width - client.width, outer.height - client.height}; }
};

// The outer frame: from _NET_FRAME_EXTENTS when the manager publishes them; else the reparenting
// ancestor (the child of the root that holds the client), when there is one; else the client with
// its border.
Rect outerFrameOf(const Rect& client, double border, const std::optional<X11Properties::Extents>& frameExtents,
                  const std::optional<Rect>& ancestor);

// What to ask of the window manager so that the visible frame becomes `target`: the outer frame's
// top-left (for _NET_MOVERESIZE_WINDOW with north-west gravity), the client's border corner (for
// an ICCCM ConfigureWindow on the client) and the client's size. `correction` is subtracted from
// both positions, for managers that are known to place a window that far off.
struct X11MoveRequest {
    Point frame;
    Point client;
    Size clientSize;
    friend bool operator==(const X11MoveRequest&, const X11MoveRequest&) = default;
};
X11MoveRequest moveRequestFor(const X11WindowGeometry& geometry, const Rect& target, Point correction = {});

// Whether a window now at `now` shows the visible frame `target`: the position exactly, the size
// as far as the client's size hints let a manager honour it.
bool reachesTarget(const X11WindowGeometry& now, const Rect& target,
                   const std::optional<X11Properties::SizeHints>& hints);

} // namespace mosaro
