#pragma once

#include "Platform/Geometry.h"
#include "Platform/Screen.h"

namespace mosaro {

// Height H of the primary display: the first display whose frame origin is (0, 0), else the
// main display, else 0. Screen and accessibility coordinates convert with y' = H - y - height.
double primaryScreenHeight(const ScreenList& screens);

// The same formula converts both ways.
Rect flippedRect(const Rect& rect, double primaryHeight);

// The first display, in the system's order, whose full frame contains the point.
ScreenRef screenContaining(const ScreenList& screens, Point point);

} // namespace mosaro
