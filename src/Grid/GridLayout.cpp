#include "Grid/GridLayout.h"

#include <algorithm>
#include <cmath>

namespace mosaro {

Rect GridLayout::frameFor(const HighlightedRegion& region) const
{
    const double innerX = displayBounds.x + margin;
    const double innerY = displayBounds.y + margin;
    const double innerWidth = displayBounds.width - 2 * margin;
    const double innerHeight = displayBounds.height - 2 * margin;

    const double cellWidth = innerWidth / double(columns);
    const double cellHeight = innerHeight / double(rows);

    const auto minCol = region.minColumn();
    const auto maxCol = region.maxColumn();
    const auto minRow = region.minRow();
    const auto maxRow = region.maxRow();

    // Every boundary is rounded from the inner origin, so neighbouring regions share edges exactly.
    // std::round takes halves away from zero.
    const double left = innerX + std::round(cellWidth * double(minCol));
    const double right = innerX + std::round(cellWidth * double(maxCol + 1));
    // Row 0 is at the top while y grows upwards: count rows from the bottom.
    const double bottom = innerY + std::round(cellHeight * double(rows - 1 - maxRow));
    const double top = innerY + std::round(cellHeight * double(rows - minRow));

    // Interior edges get half a margin from each side; outer edges already have the inset.
    const double half = margin * 0.5;
    const double leftGap = minCol == 0 ? 0 : half;
    const double rightGap = maxCol == columns - 1 ? 0 : half;
    const double bottomGap = maxRow == rows - 1 ? 0 : half;
    const double topGap = minRow == 0 ? 0 : half;

    const double width = right - left - leftGap - rightGap;
    const double height = top - bottom - topGap - bottomGap;
    return {left + leftGap, bottom + bottomGap, std::max(width, 0.0), std::max(height, 0.0)};
}

GridLayout GridLayout::resized(GridResize step) const
{
    GridLayout result = *this;
    switch (step) {
    case GridResize::addColumn:
        result.columns = std::min<std::int64_t>(columns + 1, maxColumns);
        break;
    case GridResize::removeColumn:
        result.columns = std::max<std::int64_t>(columns - 1, 1);
        break;
    case GridResize::addRow:
        result.rows = std::min<std::int64_t>(rows + 1, maxRows);
        break;
    case GridResize::removeRow:
        result.rows = std::max<std::int64_t>(rows - 1, 1);
        break;
    }
    return result;
}

GridDimensions clampedToGridLimits(GridDimensions dims)
{
    return {std::clamp<std::int64_t>(dims.columns, 1, GridLayout::maxColumns),
            std::clamp<std::int64_t>(dims.rows, 1, GridLayout::maxRows)};
}

QString toString(GridResize resize)
{
    switch (resize) {
    case GridResize::addColumn:
        return QStringLiteral("addColumn");
    case GridResize::removeColumn:
        return QStringLiteral("removeColumn");
    case GridResize::addRow:
        return QStringLiteral("addRow");
    case GridResize::removeRow:
        return QStringLiteral("removeRow");
    }
    return {};
}

} // namespace mosaro
