#include "Platform/Accessibility.h"

#include <cmath>

namespace mosaro {

std::optional<AXValue> Accessibility::createValue(Point point)
{
    if (!std::isfinite(point.x) || !std::isfinite(point.y))
        return std::nullopt;
    return AXValue{AXGeometry{AXGeometry::Kind::point, point.x, point.y}};
}

std::optional<AXValue> Accessibility::createValue(Size size)
{
    if (!std::isfinite(size.width) || !std::isfinite(size.height))
        return std::nullopt;
    return AXValue{AXGeometry{AXGeometry::Kind::size, size.width, size.height}};
}

} // namespace mosaro
