#include "Grid/GridTypes.h"

#include <gtest/gtest.h>

using namespace mosaro;
using enum Direction;

namespace {
HighlightedRegion cell(std::int64_t column, std::int64_t row)
{
    return HighlightedRegion::single({column, row});
}
} // namespace

TEST(GridSelection, MovesCollapseFromTheExtentAndStopAtEdges)
{
    for (const Direction d : {up, down, left, right}) {
        EXPECT_EQ(cell(0, 0).navigated(d, {1, 1}), cell(0, 0));
        EXPECT_EQ(cell(0, 0).extended(d, {1, 1}), cell(0, 0));
    }
    const GridDimensions grid{3, 2};
    EXPECT_EQ(initialSelection(grid).navigated(up, grid), cell(1, 0));
    EXPECT_EQ(initialSelection(grid).navigated(down, grid), cell(1, 1));
    EXPECT_EQ(initialSelection(grid).navigated(left, grid), cell(0, 1));
    EXPECT_EQ(initialSelection(grid).navigated(right, grid), cell(2, 1));

    EXPECT_EQ((HighlightedRegion{{1, 1}, {3, 2}}).navigated(left, {5, 3}), cell(2, 2));
    // The clamp applies after the offset, so an extent outside the grid lands on the last column.
    EXPECT_EQ((HighlightedRegion{{0, 0}, {7, 1}}).navigated(left, {5, 3}), cell(4, 1));
    EXPECT_EQ((HighlightedRegion{{0, 0}, {7, 1}}).extended(down, {5, 3}), (HighlightedRegion{{0, 0}, {4, 2}}));
    EXPECT_EQ(cell(3, 0).navigated(right, {0, 1}), cell(0, 0)); // upper bound first, then lower
}

TEST(GridSelection, ExtendingGrowsPastTheAnchorAndClampsSeparately)
{
    const GridDimensions grid{5, 1};
    HighlightedRegion region = cell(2, 0).extended(right, grid).extended(right, grid);
    EXPECT_EQ(region, (HighlightedRegion{{2, 0}, {4, 0}}));
    EXPECT_EQ(region.extended(right, grid), region);
    region = region.extended(left, grid).extended(left, grid).extended(left, grid);
    EXPECT_EQ(region, (HighlightedRegion{{2, 0}, {1, 0}}));
    EXPECT_TRUE(region.minColumn() == 1 && region.maxColumn() == 2);
    EXPECT_EQ(region.extended(up, grid), region);

    EXPECT_EQ((HighlightedRegion{{0, 0}, {4, 2}}).clamped({4, 2}), (HighlightedRegion{{0, 0}, {3, 1}}));
    EXPECT_EQ((HighlightedRegion{{6, 2}, {1, 0}}).clamped({4, 2}), (HighlightedRegion{{3, 1}, {1, 0}}));
    EXPECT_NE((HighlightedRegion{{1, 1}, {2, 0}}), (HighlightedRegion{{2, 0}, {1, 1}}));
}

TEST(GridSelection, StartsOnTheCentreCellAndPrints)
{
    EXPECT_EQ(initialSelection({3, 2}), cell(1, 1));
    EXPECT_EQ(initialSelection({4, 3}), cell(2, 1));
    EXPECT_EQ(initialSelection({4, 4}), cell(2, 2));
    EXPECT_EQ(initialSelection({30, 20}), cell(15, 10));
    EXPECT_EQ(initialSelection({1, 1}), cell(0, 0));

    EXPECT_EQ(toString(GridDimensions{3, 2}), QStringLiteral("3×2"));
    EXPECT_EQ(toString(HighlightedRegion{{1, 1}, {2, 1}}), QStringLiteral("(1, 1)–(2, 1)"));
}
