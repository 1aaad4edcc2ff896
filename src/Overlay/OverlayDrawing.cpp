#include "Overlay/OverlayDrawing.h"

#include <algorithm>
#include <cmath>

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

std::vector<QRect> gridLinePixels(const OverlayDrawing& drawing, int width, int height)
{
    std::vector<QRect> out;
    out.reserve(drawing.verticalLines.size() + drawing.horizontalLines.size());
    for (double x : drawing.verticalLines)
        out.emplace_back(int(std::floor(x)), 0, 1, height);
    for (double y : drawing.horizontalLines)
        out.emplace_back(0, int(std::floor(y)), width, 1);
    return out;
}

QRect highlightPixelBounds(const Rect& highlight)
{
    // Half the stroke outside the edge, and one more pixel for its antialiasing.
    const double grow = OverlayDrawing::highlightStrokeWidth / 2 + 1;
    const int x0 = int(std::floor(highlight.minX() - grow));
    const int y0 = int(std::floor(highlight.minY() - grow));
    const int x1 = int(std::ceil(highlight.maxX() + grow));
    const int y1 = int(std::ceil(highlight.maxY() + grow));
    return QRect(x0, y0, std::max(0, x1 - x0), std::max(0, y1 - y0));
}

QRect highlightInterior(const Rect& highlight)
{
    // Beyond the stroke's inner half, its antialiased pixel and the corners' curve.
    const double inset = OverlayDrawing::highlightStrokeWidth / 2 + OverlayDrawing::highlightCornerRadius + 2;
    const int x0 = int(std::ceil(highlight.minX() + inset));
    const int y0 = int(std::ceil(highlight.minY() + inset));
    const int x1 = int(std::floor(highlight.maxX() - inset));
    const int y1 = int(std::floor(highlight.maxY() - inset));
    if (x1 <= x0 || y1 <= y0)
        return {};
    return QRect(x0, y0, x1 - x0, y1 - y0);
}

namespace {

// The pixel columns [first, end) of one row of a rounded rectangle, sampled at the row's
// centre line cy; empty when the row misses it.
std::pair<int, int> roundedRowSpan(const Rect& r, double radius, double cy)
{
    if (r.width <= 0 || r.height <= 0 || cy < r.minY() || cy >= r.maxY())
        return {0, 0};
    radius = std::clamp(radius, 0.0, std::min(r.width, r.height) / 2);
    double dy = 0;
    if (cy < r.minY() + radius)
        dy = r.minY() + radius - cy;
    else if (cy > r.maxY() - radius)
        dy = cy - (r.maxY() - radius);
    const double dx = dy > 0 ? radius - std::sqrt(std::max(0.0, radius * radius - dy * dy)) : 0;
    const int first = int(std::ceil(r.minX() + dx - 0.5));
    const int end = int(std::ceil(r.maxX() - dx - 0.5));
    return end > first ? std::pair{first, end} : std::pair{0, 0};
}

} // namespace

std::vector<QRect> outlinePixels(const Rect& highlight, double width, double cornerRadius)
{
    const double half = width / 2;
    const Rect outer{highlight.x - half, highlight.y - half, highlight.width + width, highlight.height + width};
    const Rect inner{highlight.x + half, highlight.y + half, highlight.width - width, highlight.height - width};
    const double outerRadius = cornerRadius + half;
    const double innerRadius = std::max(0.0, cornerRadius - half);

    std::vector<QRect> out;
    std::vector<QRect> previousRow;
    const int top = int(std::floor(outer.minY()));
    const int bottom = int(std::ceil(outer.maxY()));
    for (int y = top; y < bottom; ++y) {
        const double cy = y + 0.5;
        const auto [x0, x1] = roundedRowSpan(outer, outerRadius, cy);
        std::vector<QRect> row;
        if (x1 > x0) {
            const auto [i0, i1] = roundedRowSpan(inner, innerRadius, cy);
            if (i1 > i0 && i0 >= x0 && i1 <= x1) {
                if (i0 > x0)
                    row.emplace_back(x0, y, i0 - x0, 1);
                if (x1 > i1)
                    row.emplace_back(i1, y, x1 - i1, 1);
            } else {
                row.emplace_back(x0, y, x1 - x0, 1);
            }
        }
        // Rows with the same spans as the one above extend its rectangles downwards.
        const bool same = row.size() == previousRow.size() &&
                          std::equal(row.begin(), row.end(), previousRow.begin(), [](const QRect& a, const QRect& b) {
                              return a.left() == b.left() && a.width() == b.width();
                          });
        if (same && !row.empty()) {
            for (std::size_t i = 0; i < row.size(); ++i)
                out[out.size() - row.size() + i].setBottom(y);
        } else {
            out.insert(out.end(), row.begin(), row.end());
        }
        previousRow = std::move(row);
    }
    return out;
}

Rect interpolatedRect(const Rect& from, const Rect& to, double t)
{
    if (t >= 1)
        return to;
    auto mix = [t](double a, double b) { return a + (b - a) * t; };
    return {mix(from.x, to.x), mix(from.y, to.y), mix(from.width, to.width), mix(from.height, to.height)};
}

} // namespace mosaro
