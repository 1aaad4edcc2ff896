#include "Overlay/OverlayDrawing.h"
#include "Overlay/OverlayViewModel.h"
#include "support/FakeOverlayPlatform.h"

#include <gtest/gtest.h>

using namespace mosaro;
using mosaro::test::presentation;

namespace {

TEST(OverlayViewModel, AppliesInputsAndNotifiesOnlyOnChange)
{
    OverlayViewModel vm;
    int changes = 0;
    QObject::connect(&vm, &OverlayViewModel::presentationChanged, [&] { ++changes; });

    EXPECT_EQ(vm.apply(OverlayInput::navigate(Direction::up)), OverlayOutcome::of(OverlayOutcome::Kind::ignored));
    EXPECT_EQ(changes, 0);

    vm.setPresentation(presentation({5, 3, {0, 0, 1512, 944}, 0}, {{0, 0}, {4, 2}}));
    EXPECT_EQ(changes, 1);
    vm.setPresentation(vm.presentation()); // equal value: nobody notified
    EXPECT_EQ(changes, 1);

    EXPECT_EQ(vm.apply(OverlayInput::resizeGrid(GridResize::removeColumn)),
              OverlayOutcome::of(OverlayOutcome::Kind::resized));
    EXPECT_EQ(vm.apply(OverlayInput::resizeGrid(GridResize::removeRow)),
              OverlayOutcome::of(OverlayOutcome::Kind::resized));
    EXPECT_EQ(vm.presentation()->grid.dimensions(), (GridDimensions{4, 2}));
    EXPECT_EQ(vm.presentation()->region, (HighlightedRegion{{0, 0}, {3, 1}}));

    EXPECT_EQ(vm.apply(OverlayInput::extend(Direction::up)), OverlayOutcome::of(OverlayOutcome::Kind::updated));
    EXPECT_EQ(vm.presentation()->region, (HighlightedRegion{{0, 0}, {3, 0}}));
    const int before = changes;
    EXPECT_EQ(vm.apply(OverlayInput::extend(Direction::up)), OverlayOutcome::of(OverlayOutcome::Kind::updated));
    EXPECT_EQ(changes, before); // at the edge nothing changes, so nothing redraws

    const auto held = vm.presentation();
    EXPECT_EQ(vm.apply(OverlayInput::confirm()), OverlayOutcome::of(OverlayOutcome::Kind::commit));
    EXPECT_EQ(vm.apply(OverlayInput::dismiss()), OverlayOutcome::of(OverlayOutcome::Kind::dismiss));
    EXPECT_EQ(vm.apply(OverlayInput::crossDisplayNext()), OverlayOutcome::crossDisplay(CrossDisplayDirection::next));
    EXPECT_EQ(vm.apply(OverlayInput::crossDisplayPrevious()),
              OverlayOutcome::crossDisplay(CrossDisplayDirection::previous));
    EXPECT_EQ(vm.presentation(), held);
}

TEST(OverlayDrawing, DividesTheVisibleFrameEvenlyAndInsetsTheHighlight)
{
    const auto one = overlayDrawing(1, 1, HighlightedRegion::single({0, 0}), 800, 600);
    EXPECT_TRUE(one.verticalLines.empty());
    EXPECT_TRUE(one.horizontalLines.empty());
    EXPECT_EQ(one.highlight, (Rect{4, 4, 792, 592}));

    // The margin plays no part in the drawing, and mirrored corners draw the same rectangle.
    const auto a = overlayDrawing(presentation({4, 3, {0, 0, 1512, 944}, 30}, {{3, 2}, {1, 0}}), 1512, 944);
    const auto b = overlayDrawing(presentation({4, 3, {0, 0, 1512, 944}, 0}, {{1, 0}, {3, 2}}), 1512, 944);
    EXPECT_EQ(a, b);
}

} // namespace
