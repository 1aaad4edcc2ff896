#pragma once

#include "Platform/Geometry.h"
#include "Platform/X11/X11Connection.h"

#include <QRect>
#include <QRegion>
#include <xcb/shape.h>

namespace mosaro {

// What the panel's native windows have in common.

// The class and title window managers and tools see; the pid too where a person sees the window.
void nameX11PanelWindow(X11Connection& connection, xcb_window_t window, const char* name, bool withPid);

// Replaces one of a window's shapes (its visible pixels, or where the pointer lands) by a region.
void setX11Shape(xcb_connection_t* c, xcb_shape_kind_t kind, xcb_window_t window, const QRegion& region);

// A rectangle of the screen (y up, the primary display's height given) in X root coordinates.
QRect x11RootRect(const Rect& frame, double primaryHeight);

} // namespace mosaro
