#pragma once

#include "Platform/Geometry.h"
#include "Platform/X11/X11Properties.h"

#include <optional>
#include <vector>

namespace mosaro {

// Space the window manager's work area keeps free along the root's edges beyond what the docks'
// struts explain: the lines (X root coordinates) where the free space ends. A manager's own task
// bar (icewm's) has no strut of a listed dock and shows only here.
struct WorkAreaEdges {
    std::optional<double> left;
    std::optional<double> right;
    std::optional<double> top;
    std::optional<double> bottom;
    bool any() const { return left || right || top || bottom; }
    friend bool operator==(const WorkAreaEdges&, const WorkAreaEdges&) = default;
};
WorkAreaEdges unexplainedWorkAreaEdges(const std::vector<X11Properties::Reservation>& struts,
                                       const std::optional<Rect>& workArea, double rootWidth, double rootHeight);

// Keeps the edges that a window really occupies: a mapped top-level window lying in the reserved
// strip with its inner side on the line. A work area that a manager forgot to widen again after a
// dock went away (icewm keeps it) reserves nothing.
WorkAreaEdges occupiedWorkAreaEdges(const WorkAreaEdges& edges, const std::vector<Rect>& topLevelWindows,
                                    double rootWidth, double rootHeight);

// The part of one monitor that windows may cover, in X root coordinates: the monitor without the
// reservations of the docks that touch it and without the work area's occupied edges. A strut
// counts from the root's edge, so a dock at the inner edge of a second monitor reserves the whole
// first monitor too: only the monitor holding the strut's inner edge loses space.
Rect visibleFrameOfMonitor(const Rect& monitor, const std::vector<X11Properties::Reservation>& struts,
                           const WorkAreaEdges& workAreaEdges);

} // namespace mosaro
