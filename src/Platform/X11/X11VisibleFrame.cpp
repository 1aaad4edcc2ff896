#include "Platform/X11/X11VisibleFrame.h"

#include <algorithm>

namespace mosaro {

namespace {

using Edge = X11Properties::Reservation::Edge;

bool rangesOverlap(double a0, double a1, double b0, double b1)
{
    return std::max(a0, b0) < std::min(a1, b1);
}

} // namespace

WorkAreaEdges unexplainedWorkAreaEdges(const std::vector<X11Properties::Reservation>& struts,
                                       const std::optional<Rect>& workArea, double rootWidth, double rootHeight)
{
    if (!workArea)
        return {};
    // How far the struts reach in from each edge of the root.
    double left = 0, right = 0, top = 0, bottom = 0;
    for (const auto& r : struts) {
        switch (r.edge) {
        case Edge::left:
            left = std::max(left, r.area.maxX());
            break;
        case Edge::right:
            right = std::max(right, rootWidth - r.area.minX());
            break;
        case Edge::top:
            top = std::max(top, r.area.maxY());
            break;
        case Edge::bottom:
            bottom = std::max(bottom, rootHeight - r.area.minY());
            break;
        }
    }
    const Rect& w = *workArea;
    WorkAreaEdges out;
    if (w.minX() > left)
        out.left = w.minX();
    if (rootWidth - w.maxX() > right)
        out.right = w.maxX();
    if (w.minY() > top)
        out.top = w.minY();
    if (rootHeight - w.maxY() > bottom)
        out.bottom = w.maxY();
    return out;
}

WorkAreaEdges occupiedWorkAreaEdges(const WorkAreaEdges& edges, const std::vector<Rect>& windows, double rootWidth,
                                    double rootHeight)
{
    auto occupied = [&](const std::optional<double>& line, auto fits) -> std::optional<double> {
        if (!line)
            return std::nullopt;
        for (const Rect& w : windows)
            if (w.width > 0 && w.height > 0 && fits(w, *line))
                return line;
        return std::nullopt;
    };
    WorkAreaEdges out;
    out.left = occupied(edges.left, [](const Rect& w, double line) { return w.minX() >= 0 && w.maxX() == line; });
    out.right =
        occupied(edges.right, [&](const Rect& w, double line) { return w.minX() == line && w.maxX() <= rootWidth; });
    out.top = occupied(edges.top, [](const Rect& w, double line) { return w.minY() >= 0 && w.maxY() == line; });
    out.bottom =
        occupied(edges.bottom, [&](const Rect& w, double line) { return w.minY() == line && w.maxY() <= rootHeight; });
    return out;
}

Rect visibleFrameOfMonitor(const Rect& monitor, const std::vector<X11Properties::Reservation>& struts,
                           const WorkAreaEdges& workAreaEdges)
{
    double x0 = monitor.minX(), x1 = monitor.maxX(), y0 = monitor.minY(), y1 = monitor.maxY();
    // An inner edge strictly inside the monitor cuts it; one at or beyond its far side belongs to
    // a monitor further in.
    auto insideX = [&](double line) { return line > monitor.minX() && line < monitor.maxX(); };
    auto insideY = [&](double line) { return line > monitor.minY() && line < monitor.maxY(); };

    for (const auto& r : struts) {
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
    if (workAreaEdges.left && insideX(*workAreaEdges.left))
        x0 = std::max(x0, *workAreaEdges.left);
    if (workAreaEdges.right && insideX(*workAreaEdges.right))
        x1 = std::min(x1, *workAreaEdges.right);
    if (workAreaEdges.top && insideY(*workAreaEdges.top))
        y0 = std::max(y0, *workAreaEdges.top);
    if (workAreaEdges.bottom && insideY(*workAreaEdges.bottom))
        y1 = std::min(y1, *workAreaEdges.bottom);

    // Reservations that would leave nothing are not believed.
    if (x1 <= x0 || y1 <= y0)
        return monitor;
    return {x0, y0, x1 - x0, y1 - y0};
}

} // namespace mosaro
