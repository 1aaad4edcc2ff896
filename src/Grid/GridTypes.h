#pragma once

#include <QString>
#include <cstdint>

namespace mosaro {

// The size of a grid: columns counted left to right, rows top to bottom.
struct GridDimensions {
    std::int64_t columns = 0;
    std::int64_t rows = 0;
    friend bool operator==(const GridDimensions&, const GridDimensions&) = default;
};

// One cell, 0-based; row 0 is the top row.
struct GridCell {
    std::int64_t column = 0;
    std::int64_t row = 0;
    friend bool operator==(const GridCell&, const GridCell&) = default;
};

enum class Direction {
    up,
    down,
    left,
    right
};
QString toString(Direction direction);

// The selection: the rectangle of cells spanned by a fixed anchor and a moving extent.
// Equality compares the corners, so a swapped pair is a different value covering the same cells.
struct HighlightedRegion {
    GridCell anchor;
    GridCell extent;

    std::int64_t minColumn() const;
    std::int64_t maxColumn() const;
    std::int64_t minRow() const;
    std::int64_t maxRow() const;

    // Plain arrow: one step from the extent, collapsing to a single cell, stopping at the edges.
    HighlightedRegion navigated(Direction direction, GridDimensions grid) const;
    // Shift + arrow: the extent moves one step, the anchor stays.
    HighlightedRegion extended(Direction direction, GridDimensions grid) const;
    // Anchor and extent clamped separately into the grid.
    HighlightedRegion clamped(GridDimensions grid) const;

    static HighlightedRegion single(GridCell cell) { return {cell, cell}; }

    friend bool operator==(const HighlightedRegion&, const HighlightedRegion&) = default;
};

// The centre cell (columns / 2, rows / 2) a session starts with.
HighlightedRegion initialSelection(GridDimensions grid);

QString toString(const GridDimensions& dims); // "3×2"
QString toString(const GridCell& cell);       // "(1, 1)"
QString toString(const HighlightedRegion& region);

} // namespace mosaro
