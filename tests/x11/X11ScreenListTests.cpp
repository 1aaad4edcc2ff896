#include "Grid/ScreenGeometry.h"
#include "Platform/X11/X11ScreenList.h"
#include "support/EdidFixture.h"
#include "support/x11/X11Session.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace mosaro;
using namespace mosaro::test;

namespace {

xcb_randr_output_t firstOutput(X11Connection& c)
{
    auto res = c.reply<xcb_randr_get_screen_resources_current_reply_t>(
        xcb_randr_get_screen_resources_current_reply, xcb_randr_get_screen_resources_current(c.connection(), c.root()));
    if (!res || xcb_randr_get_screen_resources_current_outputs_length(res->get()) < 1)
        return XCB_NONE;
    return xcb_randr_get_screen_resources_current_outputs(res->get())[0];
}

} // namespace

// Without a window manager: one monitor named after its output (or its EDID), the work area
// as the visible frame, and the same object for as long as nothing changes.
TEST(X11ScreenList, SingleMonitorNamesWorkAreaAndIdentity)
{
    X11Session session({1280, 800, {}});
    ASSERT_TRUE(session.ok()) << session.error().toStdString();
    X11Connection c(session.displayName());
    X11ScreenList list(c);

    const auto screens = list.screens();
    ASSERT_EQ(screens.size(), 1u);
    EXPECT_EQ(screens[0]->frame(), (Rect{0, 0, 1280, 800}));
    EXPECT_EQ(screens[0]->visibleFrame(), screens[0]->frame());
    EXPECT_EQ(screens[0]->localizedName(), QStringLiteral("screen"));
    EXPECT_EQ(screens[0]->backingScaleFactor(), 1.0);
    EXPECT_EQ(list.mainScreen(), screens[0]);
    EXPECT_EQ(list.screens()[0], screens[0]) << "same display, same object";

    // Work area of the current (second) desktop: 0,20 1280x750 in X coordinates, kept free for
    // two panels that are not docks with struts (a manager's own bars).
    for (const auto& [y, h] : {std::pair{0, 20}, std::pair{770, 30}}) {
        const xcb_window_t panel = xcb_generate_id(c.connection());
        const std::uint32_t overrideRedirect = 1;
        xcb_create_window(c.connection(), XCB_COPY_FROM_PARENT, panel, c.root(), 0, std::int16_t(y), 1280,
                          std::uint16_t(h), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                          XCB_CW_OVERRIDE_REDIRECT, &overrideRedirect);
        xcb_map_window(c.connection(), panel);
    }
    const std::uint32_t areas[] = {0, 0, 1280, 800, 0, 20, 1280, 750};
    const std::uint32_t desktop = 1;
    xcb_change_property(c.connection(), XCB_PROP_MODE_REPLACE, c.root(), c.atom("_NET_WORKAREA"), XCB_ATOM_CARDINAL, 32,
                        8, areas);
    xcb_change_property(c.connection(), XCB_PROP_MODE_REPLACE, c.root(), c.atom("_NET_CURRENT_DESKTOP"),
                        XCB_ATOM_CARDINAL, 32, 1, &desktop);
    const auto withWorkArea = list.screens();
    EXPECT_EQ(withWorkArea[0]->visibleFrame(), (Rect{0, 30, 1280, 750}));
    EXPECT_NE(withWorkArea[0], screens[0]) << "a display's values never change under its users";
    EXPECT_EQ(screens[0]->visibleFrame(), (Rect{0, 0, 1280, 800}));

    // A hostile work area (too short) is ignored.
    xcb_change_property(c.connection(), XCB_PROP_MODE_REPLACE, c.root(), c.atom("_NET_WORKAREA"), XCB_ATOM_CARDINAL, 32,
                        2, areas);
    EXPECT_EQ(list.screens()[0]->visibleFrame(), (Rect{0, 0, 1280, 800}));

    // The EDID product name wins over the output's name.
    const xcb_randr_output_t output = firstOutput(c);
    ASSERT_NE(output, xcb_randr_output_t(XCB_NONE));
    const auto edid = test::edidWithName("Mosaro Panel");
    xcb_randr_change_output_property(c.connection(), output, c.atom("EDID"), XCB_ATOM_INTEGER, 8, XCB_PROP_MODE_REPLACE,
                                     std::uint32_t(edid.size()), edid.data());
    EXPECT_EQ(list.screens()[0]->localizedName(), QStringLiteral("Mosaro Panel"));
}

// Two monitors on one screen: the server's order (primary first), y-up frames whose conversion
// with the primary height gives back the X rectangles; a new object only for a changed monitor;
// a notification when the screen changes.
TEST(X11ScreenList, TwoMonitorsInServerOrderWithConsistentCoordinates)
{
    X11Session session({1280, 800, {}});
    ASSERT_TRUE(session.ok()) << session.error().toStdString();
    X11Connection c(session.displayName());
    X11ScreenList list(c);
    int changes = 0;
    list.onDisplaysChanged = [&] { ++changes; };

    ASSERT_TRUE(session.xrandrSetMonitors(
        {{QStringLiteral("left"), 0, 0, 800, 600, false}, {QStringLiteral("right"), 800, 0, 480, 800, true}}));

    const auto screens = list.screens();
    ASSERT_EQ(screens.size(), 2u);
    const ScreenRef& right = screens[0];
    const ScreenRef& left = screens[1];
    EXPECT_EQ(right->localizedName(), QStringLiteral("right")) << "a monitor without outputs goes by its own name";
    EXPECT_EQ(left->localizedName(), QStringLiteral("screen")) << "the monitor holding the output takes its name";
    EXPECT_EQ(left->frame(), (Rect{0, 0, 800, 600}));
    EXPECT_EQ(right->frame(), (Rect{800, -200, 480, 800}));
    EXPECT_EQ(list.mainScreen(), right);

    const double h = primaryScreenHeight(list);
    EXPECT_EQ(h, 600);
    EXPECT_EQ(flippedRect(left->frame(), h), (Rect{0, 0, 800, 600}));
    EXPECT_EQ(flippedRect(right->frame(), h), (Rect{800, 0, 480, 800}));
    // A point at X (900, 100) lies on the right monitor.
    EXPECT_EQ(screenContaining(list, Point{900, h - 100}), right);

    // Changing one monitor makes a new object for it only.
    ASSERT_TRUE(session.xrandrSetMonitors(
        {{QStringLiteral("left"), 0, 0, 800, 600, false}, {QStringLiteral("right"), 800, 0, 480, 700, true}}));
    const auto after = list.screens();
    ASSERT_EQ(after.size(), 2u);
    EXPECT_NE(after[0], right);
    EXPECT_EQ(after[0]->frame(), (Rect{800, -100, 480, 700}));
    EXPECT_EQ(after[1], left);

    EXPECT_EQ(changes, 0);
    session.run(QStringLiteral("xrandr"), {QStringLiteral("--fb"), QStringLiteral("1024x768")});
    EXPECT_TRUE(session.waitUntil([&] {
        c.processPendingEvents();
        return changes > 0;
    }));
}

class X11ScreenListWithWM : public ::testing::TestWithParam<const char*> {};

// A dock's strut comes off its monitor's visible frame, whatever the window manager.
TEST_P(X11ScreenListWithWM, DockStrutShrinksVisibleFrame)
{
    X11Session session({1280, 800, QString::fromLatin1(GetParam())});
    ASSERT_TRUE(session.ok()) << session.error().toStdString();
    X11Connection c(session.displayName());
    X11ScreenList list(c);
    ASSERT_EQ(list.screens().size(), 1u);

    auto top = session.startClient({"--dock-strut", "top:40"});
    ASSERT_TRUE(top);
    EXPECT_TRUE(session.waitUntil([&] {
        return list.screens()[0]->visibleFrame() == Rect{0, 0, 1280, 760};
    })) << describe(list.screens()[0]->visibleFrame()).toStdString();

    auto bottom = session.startClient({"--dock-strut", "bottom:30"});
    ASSERT_TRUE(bottom);
    EXPECT_TRUE(session.waitUntil([&] {
        return list.screens()[0]->visibleFrame() == Rect{0, 30, 1280, 730};
    })) << describe(list.screens()[0]->visibleFrame()).toStdString();
    EXPECT_EQ(list.screens()[0]->frame(), (Rect{0, 0, 1280, 800}));

    session.stopClient(*top);
    EXPECT_TRUE(session.waitUntil([&] {
        return list.screens()[0]->visibleFrame() == Rect{0, 30, 1280, 770};
    })) << describe(list.screens()[0]->visibleFrame()).toStdString();
}

INSTANTIATE_TEST_SUITE_P(WindowManagers, X11ScreenListWithWM, ::testing::Values("openbox", "icewm"));
