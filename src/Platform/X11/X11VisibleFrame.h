#pragma once

#include "Platform/Geometry.h"
#include "Platform/X11/X11Properties.h"

#include <optional>
#include <vector>

namespace mosaro {

// The manager's work area when it can be believed: not empty and within the root. Anything else
// (a hostile or absurd value) is no work area at all.
std::optional<Rect> believableWorkArea(const std::optional<Rect>& workArea, double rootWidth, double rootHeight);

// The part of one monitor that windows may cover, in X root coordinates.
//
// With a work area, the manager's word: every edge of it that lies inside the monitor cuts the
// monitor, whatever reserved the space (its own margins or panel, a strut of any window). One
// rectangle cannot say that a panel sits on one monitor only, so an edge that the struts explain
// (they reach at least as far in) is left to the struts: each cuts only the monitor holding its
// inner edge. A strut counts from the root's edge, so a panel at the inner edge of a second monitor
// reserves the whole first monitor too: only the monitor holding the strut's inner edge loses space.
//
// Without a work area the struts alone cut the monitor. Reservations that would leave nothing are
// not believed.
Rect visibleFrameOfMonitor(const Rect& monitor, const std::vector<X11Properties::Reservation>& struts,
                           const std::optional<Rect>& workArea, double rootWidth, double rootHeight);

} // namespace mosaro
