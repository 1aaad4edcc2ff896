#include "Platform/X11/X11WindowGeometry.h"

#include <algorithm>

namespace mosaro {

Rect X11WindowGeometry::visible() const
{
    return {outer.x + shadow.left, outer.y + shadow.top, outer.width - shadow.left - shadow.right,
            outer.height - shadow.top - shadow.bottom};
}

Rect outerFrameOf(const Rect& client, double border, const std::optional<X11Properties::Extents>& frameExtents,
                  const std::optional<Rect>& ancestor)
{
    if (frameExtents) {
        const auto& e = *frameExtents;
        return {client.x - border - e.left, client.y - border - e.top, client.width + 2 * border + e.left + e.right,
                client.height + 2 * border + e.top + e.bottom};
    }
    if (ancestor)
        return *ancestor;
    return {client.x - border, client.y - border, client.width + 2 * border, client.height + 2 * border};
}

X11MoveRequest moveRequestFor(const X11WindowGeometry& g, const Rect& target, Point correction)
{
    const Point frame{target.x - g.shadow.left - correction.x, target.y - g.shadow.top - correction.y};
    const Point offset = g.clientOffset();
    const Size decoration = g.decoration();
    const Size clientSize{std::max(1.0, target.width + g.shadow.left + g.shadow.right - decoration.width),
                          std::max(1.0, target.height + g.shadow.top + g.shadow.bottom - decoration.height)};
    return {frame, {frame.x + offset.x, frame.y + offset.y}, clientSize};
}

bool reachesTarget(const X11WindowGeometry& now, const Rect& target,
                   const std::optional<X11Properties::SizeHints>& hints)
{
    const Rect visible = now.visible();
    if (visible.origin() != target.origin())
        return false;
    if (visible.size() == target.size())
        return true;
    if (!hints)
        return false;
    // The hints speak of the client's size; the frame adds the same on both sides of the comparison.
    const Size extra{visible.width - now.client.width, visible.height - now.client.height};
    return hints->admits({target.width - extra.width, target.height - extra.height}, now.client.size());
}

} // namespace mosaro
