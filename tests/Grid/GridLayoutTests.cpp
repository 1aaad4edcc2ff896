#include "Grid/DisplayRegion.h"
#include "Grid/GridLayout.h"
#include "Grid/ScreenGeometry.h"
#include "support/FakeScreens.h"

#include <gtest/gtest.h>

using namespace mosaro;

namespace {
const Rect laptop{0, 25, 1440, 875};
HighlightedRegion cell(std::int64_t column, std::int64_t row)
{
    return HighlightedRegion::single({column, row});
}
} // namespace

TEST(GridLayoutFrame, WorkedExamples)
{
    const struct {
        double margin;
        HighlightedRegion region;
        Rect frame;
    } table[] = {
        // 875 / 2 = 437.5: the upper row rounds away from zero, the lower one takes the rest.
        {0, cell(1, 1), {480, 25, 480, 438}},   {0, cell(0, 0), {0, 463, 480, 437}},
        {10, cell(1, 1), {488, 35, 464, 423}},  {10, cell(0, 0), {10, 468, 468, 422}},
        {10, cell(2, 0), {962, 468, 468, 422}}, {10, {{0, 0}, {2, 1}}, {10, 35, 1420, 855}},
    };
    for (const auto& row : table)
        EXPECT_EQ((GridLayout{3, 2, laptop, row.margin}.frameFor(row.region)), row.frame) << row.margin;

    const GridLayout odd{2, 2, {0, 0, 1000, 800}, 7};
    EXPECT_EQ(odd.frameFor(cell(0, 0)), (Rect{7, 403.5, 489.5, 389.5}));
    EXPECT_EQ(odd.frameFor(cell(1, 0)), (Rect{503.5, 403.5, 489.5, 389.5}));

    const GridLayout thirds{3, 1, {0, 0, 100, 50}, 0};
    EXPECT_EQ(thirds.frameFor(cell(0, 0)), (Rect{0, 0, 33, 50}));
    EXPECT_EQ(thirds.frameFor(cell(1, 0)), (Rect{33, 0, 34, 50}));
    EXPECT_EQ(thirds.frameFor(cell(2, 0)), (Rect{67, 0, 33, 50}));
}

TEST(GridLayoutFrame, RoundingCornersAndOversizedMargins)
{
    EXPECT_EQ((GridLayout{1, 1, laptop, 0}.frameFor(cell(0, 0))), laptop);

    const GridLayout grid{4, 3, laptop, 10};
    EXPECT_EQ(grid.frameFor({{3, 2}, {1, 0}}), grid.frameFor({{1, 0}, {3, 2}}));
    EXPECT_EQ(grid.frameFor({{1, 2}, {3, 0}}), grid.frameFor({{3, 0}, {1, 2}}));

    EXPECT_EQ((GridLayout{3, 3, {0, 0, 100, 100}, 40}.frameFor(cell(1, 1))), (Rect{67, 67, 0, 0}));
    for (const HighlightedRegion& r : {cell(0, 0), cell(1, 1), HighlightedRegion{{0, 0}, {1, 1}}}) {
        const Rect frame = GridLayout{2, 2, {0, 0, 100, 60}, 64}.frameFor(r); // inset wider than the display
        EXPECT_TRUE(frame.width >= 0 && frame.height >= 0);
    }
}

TEST(GridLayoutResize, StepsStayWithinLimitsAndKeepBoundsAndMargin)
{
    const GridLayout base{3, 2, laptop, 8};
    EXPECT_EQ(base.resized(GridResize::addColumn), (GridLayout{4, 2, laptop, 8}));
    EXPECT_EQ(base.resized(GridResize::removeColumn), (GridLayout{2, 2, laptop, 8}));
    EXPECT_EQ(base.resized(GridResize::addRow), (GridLayout{3, 3, laptop, 8}));
    EXPECT_EQ(base.resized(GridResize::removeRow), (GridLayout{3, 1, laptop, 8}));
    const GridLayout largest{30, 20, laptop, 0}, smallest{1, 1, laptop, 0};
    EXPECT_EQ(largest.resized(GridResize::addColumn).resized(GridResize::addRow), largest);
    EXPECT_EQ(smallest.resized(GridResize::removeColumn).resized(GridResize::removeRow), smallest);

    EXPECT_EQ(clampedToGridLimits({40, 25}), (GridDimensions{30, 20}));
    EXPECT_EQ(clampedToGridLimits({0, -3}), (GridDimensions{1, 1}));
}

TEST(DisplayGeometry, CoordinateConversionAndJumpOrder)
{
    EXPECT_EQ(flippedRect({0, 25, 480, 438}, 900), (Rect{0, 437, 480, 438}));
    EXPECT_EQ(flippedRect(flippedRect({3, 25, 480, 438}, 900), 900), (Rect{3, 25, 480, 438}));

    test::FakeScreens screens;
    auto a = screens.add({-1280, 100, 1280, 1024}, QStringLiteral("Twin"));
    EXPECT_EQ(primaryScreenHeight(screens), 0); // nothing at the origin and no main display
    EXPECT_EQ(flippedRect({0, 25, 480, 438}, primaryScreenHeight(screens)), (Rect{0, -463, 480, 438}));
    screens.main = a;
    EXPECT_EQ(primaryScreenHeight(screens), 1024);
    auto b = screens.add({0, 0, 1440, 900}, {0, 25, 1440, 875}, QStringLiteral("Twin"));
    EXPECT_EQ(primaryScreenHeight(screens), 900);

    // Identity, not the name, finds a display; the name alone keys its stored size.
    auto c = screens.add({1440, 0, 1920, 1080}, QStringLiteral("C"));
    const auto gone = std::make_shared<test::FakeScreen>(laptop, laptop, QStringLiteral("C"));
    EXPECT_EQ(indexOfScreen(screens.screens(), b), 1u);
    EXPECT_EQ(indexOfScreen(screens.screens(), gone), std::nullopt);
    EXPECT_FALSE(DisplayRegion{a} == DisplayRegion{b});
    EXPECT_EQ(DisplayRegion{a}.displayKey(), DisplayRegion{b}.displayKey());

    using enum CrossDisplayDirection;
    EXPECT_EQ(jumpTargetIndex(indexOfScreen(screens.screens(), c), 3, next), 0u);
    EXPECT_EQ(jumpTargetIndex(2, 3, previous), 1u);
    EXPECT_EQ(jumpTargetIndex(0, 2, next), 1u);
    EXPECT_EQ(jumpTargetIndex(0, 2, previous), 1u);
    EXPECT_EQ(jumpTargetIndex(std::nullopt, 3, next), 1u); // disconnected: counts as the first
    EXPECT_EQ(jumpTargetIndex(std::nullopt, 3, previous), 2u);
}
