#include "Overlay/OverlayDrawing.h"

namespace mosaro {

OverlayDrawing overlayDrawing(std::int64_t columns, std::int64_t rows, const HighlightedRegion& region, double width,
                              double height)
{
    OverlayDrawing d;
    const double w = width / double(columns);
    const double h = height / double(rows);
    for (std::int64_t i = 1; i < columns; ++i)
        d.verticalLines.push_back(double(i) * w);
    for (std::int64_t j = 1; j < rows; ++j)
        d.horizontalLines.push_back(double(j) * h);

    const auto minColumn = region.minColumn();
    const auto minRow = region.minRow();
    const double spanColumns = double(region.maxColumn() - minColumn + 1);
    const double spanRows = double(region.maxRow() - minRow + 1);
    const double inset = OverlayDrawing::highlightInset;
    const double highlightWidth = spanColumns * w - 2 * inset;
    const double highlightHeight = spanRows * h - 2 * inset;
    d.highlightCentre = {(double(minColumn) + spanColumns / 2) * w, (double(minRow) + spanRows / 2) * h};
    d.highlight = {d.highlightCentre.x - highlightWidth / 2, d.highlightCentre.y - highlightHeight / 2, highlightWidth,
                   highlightHeight};
    return d;
}

} // namespace mosaro
