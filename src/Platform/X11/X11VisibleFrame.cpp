#include "Platform/X11/X11VisibleFrame.h"

#include <algorithm>

namespace mosaro {

namespace {

using Edge = X11Properties::Reservation::Edge;

bool rangesOverlap(double a0, double a1, double b0, double b1)
{
    return std::max(a0, b0) < std::min(a1, b1);
}

// How far in from the root's edge a reservation reaches.
double depth(const X11Properties::Reservation& r, double rootWidth, double rootHeight)
{
    switch (r.edge) {
    case Edge::left:
        return r.area.maxX();
    case Edge::right:
        return rootWidth - r.area.minX();
    case Edge::top:
        return r.area.maxY();
    case Edge::bottom:
        return rootHeight - r.area.minY();
    }
    return 0;
}

} // namespace

std::optional<Rect> believableWorkArea(const std::optional<Rect>& workArea, double rootWidth, double rootHeight)
{
    if (!workArea || workArea->width <= 0 || workArea->height <= 0 || workArea->minX() < 0 || workArea->minY() < 0 ||
        workArea->maxX() > rootWidth || workArea->maxY() > rootHeight)
        return std::nullopt;
    return workArea;
}

Rect visibleFrameOfMonitor(const Rect& monitor, const std::vector<X11Properties::Reservation>& struts,
                           const std::optional<Rect>& workArea, double rootWidth, double rootHeight)
{
    double x0 = monitor.minX(), x1 = monitor.maxX(), y0 = monitor.minY(), y1 = monitor.maxY();
    // An inner edge strictly inside the monitor cuts it; one at or beyond its far side belongs to
    // a monitor further in.
    auto insideX = [&](double line) { return line > monitor.minX() && line < monitor.maxX(); };
    auto insideY = [&](double line) { return line > monitor.minY() && line < monitor.maxY(); };

    double reach[4] = {0, 0, 0, 0};
    for (const auto& r : struts) {
        auto& deepest = reach[int(r.edge)];
        deepest = std::max(deepest, depth(r, rootWidth, rootHeight));
        const Rect& a = r.area;
        const bool alongY = rangesOverlap(a.minY(), a.maxY(), monitor.minY(), monitor.maxY());
        const bool alongX = rangesOverlap(a.minX(), a.maxX(), monitor.minX(), monitor.maxX());
        switch (r.edge) {
        case Edge::left:
            if (alongY && insideX(a.maxX()))
                x0 = std::max(x0, a.maxX());
            break;
        case Edge::right:
            if (alongY && insideX(a.minX()))
                x1 = std::min(x1, a.minX());
            break;
        case Edge::top:
            if (alongX && insideY(a.maxY()))
                y0 = std::max(y0, a.maxY());
            break;
        case Edge::bottom:
            if (alongX && insideY(a.minY()))
                y1 = std::min(y1, a.minY());
            break;
        }
    }
    if (const auto area = believableWorkArea(workArea, rootWidth, rootHeight)) {
        // An edge no strut explains is the manager's own reservation, made for every monitor.
        auto unexplained = [&](Edge edge, double inset) { return inset > reach[int(edge)]; };
        if (unexplained(Edge::left, area->minX()) && insideX(area->minX()))
            x0 = std::max(x0, area->minX());
        if (unexplained(Edge::right, rootWidth - area->maxX()) && insideX(area->maxX()))
            x1 = std::min(x1, area->maxX());
        if (unexplained(Edge::top, area->minY()) && insideY(area->minY()))
            y0 = std::max(y0, area->minY());
        if (unexplained(Edge::bottom, rootHeight - area->maxY()) && insideY(area->maxY()))
            y1 = std::min(y1, area->maxY());
    }
    if (x1 <= x0 || y1 <= y0)
        return monitor;
    return {x0, y0, x1 - x0, y1 - y0};
}

} // namespace mosaro
