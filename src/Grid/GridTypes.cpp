#include "Grid/GridTypes.h"

#include <algorithm>
#include <array>

namespace mosaro {

namespace {

// Unit offsets indexed by the direction's position: up, down, left, right.
constexpr std::array<std::int64_t, 4> columnChange{0, 0, -1, 1};
constexpr std::array<std::int64_t, 4> rowChange{-1, 1, 0, 0};

// Upper bound first, so a degenerate grid of 0 columns still yields 0 rather than -1.
std::int64_t clampCoordinate(std::int64_t value, std::int64_t count)
{
    return std::max<std::int64_t>(std::min(value, count - 1), 0);
}

GridCell clampCell(GridCell cell, GridDimensions grid)
{
    return {clampCoordinate(cell.column, grid.columns), clampCoordinate(cell.row, grid.rows)};
}

GridCell stepped(GridCell cell, Direction direction, GridDimensions grid)
{
    const auto index = static_cast<std::size_t>(direction);
    return clampCell({cell.column + columnChange[index], cell.row + rowChange[index]}, grid);
}

} // namespace

QString toString(Direction direction)
{
    switch (direction) {
    case Direction::up:
        return QStringLiteral("up");
    case Direction::down:
        return QStringLiteral("down");
    case Direction::left:
        return QStringLiteral("left");
    case Direction::right:
        return QStringLiteral("right");
    }
    return {};
}

std::int64_t HighlightedRegion::minColumn() const
{
    return std::min(anchor.column, extent.column);
}
std::int64_t HighlightedRegion::maxColumn() const
{
    return std::max(anchor.column, extent.column);
}
std::int64_t HighlightedRegion::minRow() const
{
    return std::min(anchor.row, extent.row);
}
std::int64_t HighlightedRegion::maxRow() const
{
    return std::max(anchor.row, extent.row);
}

HighlightedRegion HighlightedRegion::navigated(Direction direction, GridDimensions grid) const
{
    return single(stepped(extent, direction, grid));
}

HighlightedRegion HighlightedRegion::extended(Direction direction, GridDimensions grid) const
{
    return {anchor, stepped(extent, direction, grid)};
}

HighlightedRegion HighlightedRegion::clamped(GridDimensions grid) const
{
    return {clampCell(anchor, grid), clampCell(extent, grid)};
}

HighlightedRegion initialSelection(GridDimensions grid)
{
    return HighlightedRegion::single({grid.columns / 2, grid.rows / 2});
}

QString toString(const GridDimensions& dims)
{
    return QStringLiteral("%1×%2").arg(dims.columns).arg(dims.rows);
}

QString toString(const GridCell& cell)
{
    return QStringLiteral("(%1, %2)").arg(cell.column).arg(cell.row);
}

QString toString(const HighlightedRegion& region)
{
    return toString(region.anchor) + QStringLiteral("–") + toString(region.extent);
}

} // namespace mosaro
