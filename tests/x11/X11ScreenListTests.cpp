#include "Grid/ScreenGeometry.h"
#include "Platform/X11/X11ScreenList.h"
#include "support/x11/X11Session.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace mosaro;
using namespace mosaro::test;
using Edge = X11ScreenList::Reservation::Edge;

namespace {

std::vector<std::uint8_t> edidWithName(const char* name)
{
    std::vector<std::uint8_t> edid(128, 0);
    const std::uint8_t header[] = {0x00, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0x00};
    std::memcpy(edid.data(), header, 8);
    // First descriptor: a serial number (0xFF), then the name (0xFC) in the second.
    std::uint8_t* serial = edid.data() + 54;
    serial[3] = 0xff;
    // EDID texts are padded, not NUL-terminated.
    // NOLINTNEXTLINE(bugprone-not-null-terminated-result)
    std::memcpy(serial + 5, "12345\n       ", 13);
    std::uint8_t* d = edid.data() + 72;
    d[3] = 0xfc;
    std::memset(d + 5, ' ', 13);
    // NOLINTNEXTLINE(bugprone-not-null-terminated-result)
    std::memcpy(d + 5, name, std::min<std::size_t>(13, std::strlen(name)));
    if (std::strlen(name) < 13)
        d[5 + std::strlen(name)] = 0x0a;
    return edid;
}

xcb_randr_output_t firstOutput(X11Connection& c)
{
    auto res = c.reply<xcb_randr_get_screen_resources_current_reply_t>(
        xcb_randr_get_screen_resources_current_reply, xcb_randr_get_screen_resources_current(c.connection(), c.root()));
    if (!res || xcb_randr_get_screen_resources_current_outputs_length(res->get()) < 1)
        return XCB_NONE;
    return xcb_randr_get_screen_resources_current_outputs(res->get())[0];
}

} // namespace

// Struts are areas along the root's edges; a monitor loses only what overlaps it, and values that
// make no sense are not believed.
TEST(X11ScreenListGeometry, StrutsShrinkOnlyTheMonitorsTheyTouch)
{
    // Two monitors side by side on a 1920 x 1080 root; a 30-pixel top panel over the left one only.
    const Rect left{0, 0, 960, 1080}, right{960, 0, 960, 1080};
    std::vector<std::uint32_t> partialTop(12, 0);
    partialTop[2] = 30;
    partialTop[8] = 0;
    partialTop[9] = 959;
    const auto top = X11ScreenList::reservationsFromStrut(partialTop, 1920, 1080);
    ASSERT_EQ(top.size(), 1u);
    EXPECT_EQ(top[0].edge, Edge::top);
    EXPECT_EQ(top[0].area, (Rect{0, 0, 960, 30}));
    EXPECT_EQ(X11ScreenList::visibleArea(left, top), (Rect{0, 30, 960, 1050}));
    EXPECT_EQ(X11ScreenList::visibleArea(right, top), right);

    // The legacy four-value strut spans whole edges: a right dock and a bottom dock.
    const auto legacy = X11ScreenList::reservationsFromStrut({0, 48, 0, 25}, 1920, 1080);
    ASSERT_EQ(legacy.size(), 2u);
    EXPECT_EQ(X11ScreenList::visibleArea(left, legacy), (Rect{0, 0, 960, 1055}));
    EXPECT_EQ(X11ScreenList::visibleArea(right, legacy), (Rect{960, 0, 912, 1055}));

    // A left strut counts from the root's left edge, so it reaches a second monitor only when wide enough.
    const auto wideLeft = X11ScreenList::reservationsFromStrut({1000, 0, 0, 0}, 1920, 1080);
    EXPECT_EQ(X11ScreenList::visibleArea(right, wideLeft), (Rect{1000, 0, 920, 1080}));

    // Reversed ranges, too-short lists and struts covering everything are ignored.
    std::vector<std::uint32_t> reversed(12, 0);
    reversed[3] = 40;
    reversed[10] = 500;
    reversed[11] = 100;
    EXPECT_TRUE(X11ScreenList::reservationsFromStrut(reversed, 1920, 1080).empty());
    EXPECT_TRUE(X11ScreenList::reservationsFromStrut({10, 10}, 1920, 1080).empty());
    const auto all = X11ScreenList::reservationsFromStrut({0, 0, 4000000000u, 0}, 1920, 1080);
    EXPECT_EQ(X11ScreenList::visibleArea(left, all), left);
}

TEST(X11ScreenListGeometry, EdidProductName)
{
    EXPECT_EQ(X11ScreenList::edidProductName(edidWithName("DELL U2720Q")), QStringLiteral("DELL U2720Q"));
    EXPECT_EQ(X11ScreenList::edidProductName(edidWithName("ABCDEFGHIJKLM")), QStringLiteral("ABCDEFGHIJKLM"));
    auto noName = edidWithName("X");
    noName[72 + 3] = 0xfe; // an unspecified text, not a name
    EXPECT_FALSE(X11ScreenList::edidProductName(noName));
    auto badHeader = edidWithName("X");
    badHeader[1] = 0;
    EXPECT_FALSE(X11ScreenList::edidProductName(badHeader));
    auto truncated = edidWithName("X");
    truncated.resize(100);
    EXPECT_FALSE(X11ScreenList::edidProductName(truncated));
    EXPECT_FALSE(X11ScreenList::edidProductName(edidWithName("   ")));
}

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

    // Work area of the current (second) desktop: 0,20 1280x750 in X coordinates.
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
    const auto edid = edidWithName("Mosaro Panel");
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
