#include "Platform/X11/X11VisibleFrame.h"

#include <gtest/gtest.h>

using namespace mosaro;
using X11Properties::reservationsFromStrut;

namespace {

std::vector<std::uint32_t> partial(std::vector<std::uint32_t> values)
{
    values.resize(12, 0);
    return values;
}

// The visible frame as the screen list computes it: struts, then what of the work area no strut
// explains and a window occupies.
Rect visible(const Rect& monitor, const std::vector<X11Properties::Reservation>& struts,
             const std::optional<Rect>& workArea, const std::vector<Rect>& windows, double rootWidth, double rootHeight)
{
    const auto edges = occupiedWorkAreaEdges(unexplainedWorkAreaEdges(struts, workArea, rootWidth, rootHeight), windows,
                                             rootWidth, rootHeight);
    return visibleFrameOfMonitor(monitor, struts, edges);
}

} // namespace

// One monitor: docks' struts come off their edges; the manager's work area adds what no strut
// explains when a window really sits there (icewm's own task bar), and nothing is taken twice.
TEST(X11VisibleFrame, OneMonitorStrutsAndWorkArea)
{
    const Rect monitor{0, 0, 1280, 800};
    EXPECT_EQ(visible(monitor, {}, std::nullopt, {}, 1280, 800), monitor);

    // A task bar of 26 pixels that only the work area shows.
    const Rect taskbar{0, 774, 1280, 26};
    const Rect taskbarArea{0, 0, 1280, 774};
    EXPECT_EQ(unexplainedWorkAreaEdges({}, taskbarArea, 1280, 800), (WorkAreaEdges{{}, {}, {}, 774}));
    EXPECT_EQ(visible(monitor, {}, taskbarArea, {taskbar}, 1280, 800), taskbarArea);
    // A stale work area (the dock it made room for has gone) or a window that merely overlaps
    // the strip (a one-pixel edge window) reserves nothing.
    EXPECT_EQ(visible(monitor, {}, taskbarArea, {}, 1280, 800), monitor);
    EXPECT_EQ(visible(monitor, {}, taskbarArea, {{0, 799, 1280, 1}, {100, 700, 300, 100}}, 1280, 800), monitor);

    // With another dock at the top the task bar still counts: the work area's bottom is unexplained.
    const auto topDock = reservationsFromStrut({0, 0, 20, 0}, 1280, 800);
    const Rect both{0, 20, 1280, 754};
    EXPECT_EQ(visible(monitor, topDock, both, {taskbar}, 1280, 800), both);
    // A manager that does not fold the dock into its work area loses nothing either.
    EXPECT_EQ(visible(monitor, topDock, taskbarArea, {taskbar}, 1280, 800), both);

    // A bottom dock taller than the task bar explains the work area's bottom.
    const auto bottomDock = reservationsFromStrut({0, 0, 0, 30}, 1280, 800);
    EXPECT_FALSE(unexplainedWorkAreaEdges(bottomDock, Rect{0, 0, 1280, 770}, 1280, 800).any());
    EXPECT_EQ(visible(monitor, bottomDock, Rect{0, 0, 1280, 770}, {}, 1280, 800), (Rect{0, 0, 1280, 770}));

    // Reservations that leave nothing are not believed.
    const auto everything = reservationsFromStrut({0, 0, 800, 0}, 1280, 800);
    EXPECT_EQ(visible(monitor, everything, std::nullopt, {}, 1280, 800), monitor);

    // Panels along the other three edges, each occupying its strip.
    const Rect framed{30, 10, 1210, 760};
    EXPECT_EQ(visible(monitor, {}, framed, {{0, 0, 30, 800}, {1240, 0, 40, 800}, {0, 0, 1280, 10}, {0, 770, 1280, 30}},
                      1280, 800),
              framed);
}

// Two monitors side by side: a panel reduces only the monitor it touches, whether it sits at an
// outer edge, between the two, or along the bottom of the shorter one.
TEST(X11VisibleFrame, TwoMonitorsPanelsTouchOnlyTheirMonitor)
{
    const Rect left{0, 0, 960, 1080}, right{960, 0, 960, 1080};
    const auto topLeftOnly = reservationsFromStrut(partial({0, 0, 30, 0, 0, 0, 0, 0, 0, 959}), 1920, 1080);
    EXPECT_EQ(visible(left, topLeftOnly, std::nullopt, {}, 1920, 1080), (Rect{0, 30, 960, 1050}));
    EXPECT_EQ(visible(right, topLeftOnly, std::nullopt, {}, 1920, 1080), right);

    // A 40-pixel panel at the left edge of the right monitor: its strut reaches over the whole
    // left monitor, which keeps all of its space.
    const auto between = reservationsFromStrut(partial({1000, 0, 0, 0, 0, 1079}), 1920, 1080);
    EXPECT_EQ(visible(left, between, std::nullopt, {}, 1920, 1080), left);
    EXPECT_EQ(visible(right, between, std::nullopt, {}, 1920, 1080), (Rect{1000, 0, 920, 1080}));
    // A manager whose single work area folds that strut in does not take it from the left monitor.
    EXPECT_EQ(visible(left, between, Rect{1000, 0, 920, 1080}, {}, 1920, 1080), left);

    // Monitors of different heights: a bottom panel on the shorter left one (root 1920 x 1200).
    const Rect shortLeft{0, 0, 960, 1080}, tallRight{960, 0, 960, 1200};
    const auto shortBottom = reservationsFromStrut(partial({0, 0, 0, 150, 0, 0, 0, 0, 0, 0, 0, 959}), 1920, 1200);
    EXPECT_EQ(visible(shortLeft, shortBottom, std::nullopt, {}, 1920, 1200), (Rect{0, 0, 960, 1050}));
    EXPECT_EQ(visible(tallRight, shortBottom, std::nullopt, {}, 1920, 1200), tallRight);

    // A task bar along the bottom of the taller monitor cuts only the monitor reaching past it.
    const Rect area{0, 0, 1920, 1175};
    const Rect taskbar{960, 1175, 960, 25};
    EXPECT_EQ(visible(shortLeft, {}, area, {taskbar}, 1920, 1200), shortLeft);
    EXPECT_EQ(visible(tallRight, {}, area, {taskbar}, 1920, 1200), (Rect{960, 0, 960, 1175}));
}
