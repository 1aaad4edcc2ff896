#pragma once

#include "Grid/GridTypes.h"
#include "Platform/Geometry.h"

namespace mosaro {

enum class GridResize {
    addColumn,
    removeColumn,
    addRow,
    removeRow
};
QString toString(GridResize resize);

// A grid laid over one display's visible frame (screen coordinates) with a uniform margin.
// Invariant established by every builder: columns >= 1, rows >= 1, margin >= 0.
struct GridLayout {
    static constexpr std::int64_t maxColumns = 30;
    static constexpr std::int64_t maxRows = 20;

    std::int64_t columns = 1;
    std::int64_t rows = 1;
    Rect displayBounds;
    double margin = 0;

    GridDimensions dimensions() const { return {columns, rows}; }

    // The window frame, in screen coordinates, for a region's cells.
    Rect frameFor(const HighlightedRegion& region) const;
    // One resize step, kept within 1...30 x 1...20.
    GridLayout resized(GridResize step) const;

    friend bool operator==(const GridLayout&, const GridLayout&) = default;
};

// Clamps a size into 1...30 columns and 1...20 rows.
GridDimensions clampedToGridLimits(GridDimensions dims);

} // namespace mosaro
